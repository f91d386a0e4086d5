// SPDX-License-Identifier: Apache-2.0

// An application that writes one property and returns from main, for the tests of what an exit saves.
//
//     register-exit-program (Nothing | QtCoreBefore | QtCoreAfter | Statics) DIRECTORY

#include <exception>
#include <iostream>
#include <string>

#include <QFile>
#include <QLocale>
#include <QString>
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include <QTextCodec>
#endif

#include <utils/properties/Register.h>

using utils::properties::_Register;

namespace {

class Listener : public _Register::Callback {
public:
    void propertyChanged(std::string const& /*name*/) override {}
    void* owner() override { return this; }
};

/** Made before the register, destroyed after it. */
Listener listener;
QString keptText;

/** Does with QtCore what an application does: locales, conversions and files with non-ASCII names. */
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

void run(std::string const& mode, std::string const& directory) {
    if (mode == "QtCoreBefore")
        useQtCore(directory);
    _Register::initialize("", directory);
    static Listener laterListener;
    if (mode == "Statics") {
        _Register::getInstance()->addCallback("x", &listener);
        _Register::getInstance()->addCallback("x", &laterListener);
    }
    _Register::getInstance()->_writeInteger(nullptr, "x", 42, utils::properties::SCOPE_USER);
    if (mode == "QtCoreAfter")
        useQtCore(directory);
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
