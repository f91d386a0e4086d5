// SPDX-License-Identifier: Apache-2.0
#include "velmorand/Declared.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <tuple>

#include <pthread.h>

#include "Access.h"
#include "Declarations.h"
#include "Recall.h"

namespace velmorand {

namespace {

/** Never destroyed, for declarations that are static objects. */
struct List {
    struct Entry {
        std::uint64_t number;
        std::weak_ptr<detail::Declaration> declaration;
    };

    std::mutex mutex;
    std::map<detail::Declaration const*, Entry> entries;
    std::uint64_t declaredSoFar = 0;

    static List& instance() {
        static auto* const list = new List;
        return *list;
    }
};

/** Makes the list when the library is loaded, and has its mutex held during forks, so that a child finds it free. */
int prepareForForks() {
    static_cast<void>(List::instance());
    return ::pthread_atfork([] { List::instance().mutex.lock(); }, [] { List::instance().mutex.unlock(); },
                            [] { List::instance().mutex.unlock(); });
}

[[maybe_unused]] int const heldDuringForks = prepareForForks();

} // namespace

namespace detail {

Declaration::Declaration(std::string name) : _name(std::move(name)) {}

Declaration::~Declaration() {
    List& list = List::instance();
    std::lock_guard<std::mutex> const lock(list.mutex);
    list.entries.erase(this);
}

Recalled Declaration::recall() const noexcept {
    return recallFrom(_state, _bits, registerState);
}

void Declaration::remember(std::uint64_t state, std::uint64_t bits) noexcept {
    rememberIn(_state, _bits, state, bits);
}

void declare(std::shared_ptr<Declaration> const& declaration) {
    List& list = List::instance();
    std::lock_guard<std::mutex> const lock(list.mutex);
    list.entries.insert({declaration.get(), {list.declaredSoFar++, declaration}});
}

} // namespace detail

std::vector<std::shared_ptr<detail::Declaration>> declarations() {
    std::vector<std::tuple<std::uint64_t, std::shared_ptr<detail::Declaration>>> alive;
    {
        List& list = List::instance();
        std::lock_guard<std::mutex> const lock(list.mutex);
        for (auto const& [address, entry] : list.entries)
            if (auto declaration = entry.declaration.lock())
                alive.emplace_back(entry.number, std::move(declaration));
    }
    std::sort(alive.begin(), alive.end());
    std::map<std::string, std::shared_ptr<detail::Declaration>> byName;
    for (auto& [number, declaration] : alive)
        byName.insert({declaration->name(), std::move(declaration)});
    std::vector<std::shared_ptr<detail::Declaration>> result;
    result.reserve(byName.size());
    for (auto& [name, declaration] : byName)
        result.push_back(std::move(declaration));
    return result;
}

} // namespace velmorand
