// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Declared.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>
#include <vector>

#include <pthread.h>

#include "Access.h"
#include "Declarations.h"
#include "Names.h"
#include "Recall.h"

namespace velmorand {

namespace {

/** The live declarations. Never destroyed, because declarations may be static objects. */
struct List {
    struct Entry {
        std::uint64_t number; ///< increases in the order of declaration
        int users;            ///< threads that are using it
    };

    std::mutex mutex;
    std::condition_variable released;
    std::map<detail::Declaration const*, Entry> entries;
    std::uint64_t declaredSoFar = 0;

    static List& instance() {
        static auto* const list = new List;
        return *list;
    }
};

void afterForkInChild() {
    for (auto& [declaration, entry] : List::instance().entries)
        entry.users = 0; // the child lacks the other threads of its parent
    List::instance().mutex.unlock();
}

// The mutex is held during a fork: a child destroys its declarations when it exits, and must find the mutex free.
[[maybe_unused]] int const listHeldDuringForks = ::pthread_atfork(
    [] { List::instance().mutex.lock(); }, [] { List::instance().mutex.unlock(); }, afterForkInChild);

/** Keeps a declaration alive, unless it has been destroyed. */
class Use {
public:
    Use(detail::Declaration const* declaration, std::uint64_t number) {
        List& list = List::instance();
        std::lock_guard<std::mutex> const lock(list.mutex);
        auto const found = list.entries.find(declaration);
        if (found == list.entries.end() || found->second.number != number)
            return;
        ++found->second.users;
        _declaration = declaration;
    }
    Use(Use const&) = delete;
    Use& operator=(Use const&) = delete;
    ~Use() {
        if (_declaration == nullptr)
            return;
        List& list = List::instance();
        std::lock_guard<std::mutex> const lock(list.mutex);
        --list.entries.at(_declaration).users;
        list.released.notify_all();
    }

    [[nodiscard]] detail::Declaration const* get() const { return _declaration; }

private:
    detail::Declaration const* _declaration = nullptr;
};

/** Destroys a declaration. If it is in the list, first waits until no thread is using it, and removes it. */
void withdraw(detail::Declaration const* declaration) noexcept {
    std::unique_ptr<detail::Declaration const> const owner(declaration);
    List& list = List::instance();
    std::unique_lock<std::mutex> lock(list.mutex);
    auto const entry = list.entries.find(declaration);
    if (entry == list.entries.end())
        return;
    list.released.wait(lock, [entry] { return entry->second.users == 0; });
    list.entries.erase(entry);
}

struct Known {
    std::string name;
    std::uint64_t number;
    detail::Declaration const* declaration;
};

/** The live declarations in byte order of their names, without later declarations of the same name. */
std::vector<Known> knownDeclarations() {
    std::vector<Known> known;
    {
        List& list = List::instance();
        std::lock_guard<std::mutex> const lock(list.mutex);
        for (auto const& [declaration, entry] : list.entries)
            known.push_back({declaration->name(), entry.number, declaration});
    }
    std::sort(known.begin(), known.end(), [](Known const& left, Known const& right) {
        return std::tie(left.name, left.number) < std::tie(right.name, right.number);
    });
    auto const isSameName = [](Known const& left, Known const& right) { return left.name == right.name; };
    known.erase(std::unique(known.begin(), known.end(), isSameName), known.end());
    return known;
}

} // namespace

namespace detail {

Declaration::Declaration(std::string name, Fallback fallback, std::size_t keptSize)
    : _state(new State{cleanName(std::move(name)), fallback, keptSize}) {}

Declaration::~Declaration() = default;

std::string const& Declaration::name() const noexcept {
    return _state->name;
}

Recalled Declaration::recall() const noexcept {
    return recallFrom(_state->state, _state->bits, registerState);
}

void Declaration::refuse(std::string const& why) const {
    throw utils::Exception("cannot set " + inQuotes(name()) + ": " + why);
}

void Declaration::refuseUnrepresentable() const {
    throw utils::Exception("cannot declare " + inQuotes(name()) +
                           ": the type cannot represent the fallback, a limit or a choice");
}

void Declaration::refuseLimits() const {
    throw utils::Exception("cannot declare " + inQuotes(name()) +
                           ": the minimum is greater than the maximum");
}

std::shared_ptr<Declaration> registered(std::unique_ptr<Declaration> declaration) {
    std::shared_ptr<Declaration> owner(declaration.release(), withdraw);
    List& list = List::instance();
    std::lock_guard<std::mutex> const lock(list.mutex);
    list.entries.insert({owner.get(), {list.declaredSoFar++, 0}});
    return owner;
}

} // namespace detail

void eachDeclaration(std::function<void(detail::Declaration const&)> const& use) {
    for (Known const& known : knownDeclarations()) {
        Lock const lock;
        if (Use const used(known.declaration, known.number); used.get() != nullptr)
            use(*used.get());
    }
}

} // namespace velmorand
