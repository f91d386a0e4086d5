// SPDX-License-Identifier: Apache-2.0

// An application that writes one property and returns from main, to test that it is saved at exit. Before it returns,
// the application uses QtCore or static objects, or starts threads that never stop using the register.
//
//     register-exit-program (Nothing | QtCoreBefore | QtCoreAfter | Statics | Writers | Readers) DIRECTORY

#include <atomic>
#include <exception>
#include <iostream>
#include <string>
#include <thread>

#include <QFile>
#include <QLocale>
#include <QString>
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include <QTextCodec>
#endif

#include <utils/properties/Register.h>

using utils::properties::_Register;
using utils::properties::SCOPE_USER;

namespace {

class Listener : public _Register::Callback {
public:
    void propertyChanged(std::string const& /*name*/) override {}
    void* owner() override { return this; }
};

/** Created before the register, destroyed after it. */
Listener listener;
QString keptText;

/** Uses QtCore as an application does: locales, conversions and files with non-ASCII names. */
void useQtCore(std::string const& directory) {
    keptText = QLocale::system().name() + QString::fromUtf8("\xc3\xa4");
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    keptText += QTextCodec::codecForLocale()->toUnicode("x");
#endif
    keptText += QString::fromLocal8Bit(keptText.toLocal8Bit());
    QFile file(QString::fromUtf8(directory.c_str()) + QString::fromUtf8("/\xc3\xa4"));
    if (file.open(QIODevice::WriteOnly))
        file.write(keptText.toUtf8());
}

// A thread may enter an operation when the register has just been destroyed. There it waits for the lock without using
// the object, but UBSan would check the object's type first.
#define ENTERS_AT_EXIT __attribute__((no_sanitize("vptr")))

/** Creates, writes and removes properties that only one thread uses, with contents of different lengths. */
ENTERS_AT_EXIT void write(int thread, int round) {
    std::string const group = "threads/" + std::to_string(thread);
    _Register& settings = *_Register::getInstance();
    settings._writeString(nullptr, group + "/text", std::string(static_cast<std::size_t>(round % 1000), 'x'),
                          SCOPE_USER);
    settings._writeInteger(nullptr, group + '/' + std::to_string(round % 10), round, SCOPE_USER);
    settings.delProperty(group + '/' + std::to_string((round + 5) % 10), SCOPE_USER);
}

ENTERS_AT_EXIT void read(int /*thread*/, int round) {
    _Register& settings = *_Register::getInstance();
    int value = 0;
    settings._readInteger("x", value);
    static_cast<void>(settings.readPropertyType("x", nullptr));
    static_cast<void>(settings.propertyExists(std::to_string(round)));
}

/** Starts three threads that run until the process ends, and waits until each has begun. */
void startThreads(void (*use)(int thread, int round)) {
    static std::atomic<int> begun{0};
    for (int thread = 0; thread < 3; ++thread)
        std::thread([=] {
            for (int round = 0;; ++round) {
                use(thread, round);
                if (round == 100)
                    ++begun;
            }
        }).detach();
    while (begun != 3)
        std::this_thread::yield();
}

void run(std::string const& mode, std::string const& directory) {
    if (mode == "QtCoreBefore")
        useQtCore(directory);
    _Register::initialize("", directory);
    static Listener laterListener;
    if (mode == "Statics") {
        _Register::getInstance()->addCallback("x", &listener);
        _Register::getInstance()->addCallback("x", &laterListener);
    }
    _Register::getInstance()->_writeInteger(nullptr, "x", 42, SCOPE_USER);
    if (mode == "QtCoreAfter")
        useQtCore(directory);
    if (mode == "Writers")
        startThreads(write);
    if (mode == "Readers")
        startThreads(read);
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        return 2;
    try {
        run(arguments[1], arguments[2]);
    } catch (std::exception const& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
    return 0;
}
