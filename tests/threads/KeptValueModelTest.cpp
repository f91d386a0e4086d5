// SPDX-License-Identifier: Apache-2.0
//
// Checks the protocol by which a declaration keeps its value, in every execution that the memory model of C++ allows
// for a few threads, including those that this machine's processor never produces.
//
// The model: each variable has a modification order, which is a list of writes. Each thread has a view: its position in
// each list. It may read any write from its position on, and insert a write anywhere after its position. A release
// write carries the writer's view to a thread that acquires it. The model covers everything that the language allows,
// except values from later writes of the reader's own thread, which the dependencies here rule out.

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Recall.h"

namespace {

using velmorand::detail::Recalled;

// The variables: the register's state, and the two words of two declarations.
constexpr std::size_t registerState = 0;
constexpr std::size_t declarations = 2;
constexpr std::size_t variables = 1 + 2 * declarations;

constexpr std::size_t stateOf(std::size_t declaration) {
    return 1 + 2 * declaration;
}
constexpr std::size_t bitsOf(std::size_t declaration) {
    return 2 + 2 * declaration;
}

using View = std::array<std::uint8_t, variables>;

void join(View& view, View const& other) {
    std::transform(view.begin(), view.end(), other.begin(), view.begin(),
                   [](std::uint8_t a, std::uint8_t b) { return std::max(a, b); });
}

struct Write {
    std::uint64_t value;
    View view;       ///< for threads that acquire it
    bool isExchange; ///< no other write may be inserted directly before it
};

/** A thread's next operation on shared state. */
struct Step {
    enum class Kind { load, store, exchange, take, change, fetch, release } kind;
    std::size_t variable; ///< or the declaration
    std::memory_order order;
    std::uint64_t value;
    std::uint64_t expected;
};

/** The operation of the protocol whose memory order is relaxed, to show that the order is needed. */
enum class Weakened { nothing, loadOfState, loadOfBits, storeOfBits, storeOfState, exchange };

bool isBits(std::size_t variable) {
    return variable != registerState && variable % 2 == 0;
}

Step weakened(Step step, Weakened what) {
    using Kind = Step::Kind;
    bool const isConcerned =
        (what == Weakened::loadOfState && step.kind == Kind::load && !isBits(step.variable)) ||
        (what == Weakened::loadOfBits && step.kind == Kind::load && isBits(step.variable)) ||
        (what == Weakened::storeOfState && step.kind == Kind::store && !isBits(step.variable)) ||
        (what == Weakened::storeOfBits && step.kind == Kind::store && isBits(step.variable)) ||
        (what == Weakened::exchange && step.kind == Kind::exchange);
    if (isConcerned)
        step.order = std::memory_order_relaxed;
    return step;
}

/**
 * The state of a thread. For each step, its body is run again from the beginning with the results of the steps made so
 * far.
 */
class Thread {
public:
    using Body = void (*)(Thread&);

    explicit Thread(Body body) : _body(body) {}

    /** The next step; nothing if the body has ended. */
    std::optional<Step> next() {
        _given = 0;
        isWrong = false;
        try {
            _body(*this);
        } catch (Step const& step) {
            return step;
        }
        return std::nullopt;
    }

    /** In the body: the result of a step. */
    std::uint64_t result(Step const& step) {
        if (_given == _results.size())
            throw step;
        return _results[_given++];
    }

    void resume(std::uint64_t result) { _results.push_back(result); }

    [[nodiscard]] std::vector<std::uint64_t> const& results() const { return _results; }

    View view{};
    bool isWrong = false; ///< set by the body

private:
    Body _body;
    std::vector<std::uint64_t> _results;
    std::size_t _given = 0;
};

/** A variable, as the code under test uses it in a thread. */
class Word {
public:
    Word(Thread& thread, std::size_t variable) : _thread(thread), _variable(variable) {}

    [[nodiscard]] std::uint64_t load(std::memory_order order) const {
        return _thread.result({Step::Kind::load, _variable, order, 0, 0});
    }
    void store(std::uint64_t value, std::memory_order order) {
        _thread.result({Step::Kind::store, _variable, order, value, 0});
    }
    bool compare_exchange_strong(std::uint64_t& expected, std::uint64_t value, std::memory_order order) {
        std::uint64_t const found = _thread.result({Step::Kind::exchange, _variable, order, value, expected});
        return std::exchange(expected, found) == found;
    }

private:
    Thread& _thread;
    std::size_t _variable;
};

/** A thread's operations on the register, under its lock. */
class Settings {
public:
    explicit Settings(Thread& thread) : _thread(thread) {}

    void lock() { step(Step::Kind::take, 0, 0); }
    void unlock() { step(Step::Kind::release, 0, 0); }
    void set(std::size_t declaration, std::uint64_t value) { step(Step::Kind::change, declaration, value); }

    std::uint64_t get(std::size_t declaration) {
        Word state(_thread, stateOf(declaration));
        Word bits(_thread, bitsOf(declaration));
        Recalled const recalled = velmorand::detail::recallFrom(state, bits, Word(_thread, registerState));
        if (recalled.isCurrent)
            return recalled.bits;
        std::uint64_t const fetched = step(Step::Kind::fetch, declaration, 0);
        velmorand::detail::rememberIn(state, bits, fetched >> 32U, fetched & 0xFFFFFFFFU);
        return fetched & 0xFFFFFFFFU;
    }

private:
    std::uint64_t step(Step::Kind kind, std::size_t declaration, std::uint64_t value) {
        return _thread.result({kind, declaration, std::memory_order_seq_cst, value, 0});
    }

    Thread& _thread;
};

/** The state of all threads and all shared variables. */
class Execution {
public:
    Execution(std::vector<Thread> threads, Weakened weakness)
        : _threads(std::move(threads)), _weakness(weakness) {
        // Initially, all declarations keep the value 0.
        for (std::size_t variable = 0; variable < variables; ++variable)
            _memory[variable].push_back({isBits(variable) ? 0U : 1U, {}, false});
    }

    /** Visits every execution that continues this one by one step. */
    template <class Visit>
    void forEachNext(Visit&& visit) const {
        for (std::size_t thread = 0; thread < _threads.size(); ++thread) {
            Execution begun = *this;
            if (std::optional<Step> const step = begun._threads[thread].next())
                begun.forEachOutcome(thread, weakened(*step, _weakness), visit);
        }
    }

    /** Whether a thread has found something wrong. */
    [[nodiscard]] bool isWrong() {
        return std::any_of(_threads.begin(), _threads.end(), [](Thread& thread) {
            static_cast<void>(thread.next());
            return thread.isWrong;
        });
    }

    /** A text that identifies the state. */
    [[nodiscard]] std::string text() const {
        std::string text;
        auto const add = [&text](auto value) {
            text.append(reinterpret_cast<char const*>(&value), sizeof value);
        };
        for (Thread const& thread : _threads) {
            add(thread.results().size());
            for (std::uint64_t const result : thread.results())
                add(result);
            add(thread.view);
        }
        for (auto const& writes : _memory) {
            add(writes.size());
            for (Write const& write : writes) {
                add(write.value);
                add(write.view);
                add(write.isExchange);
            }
        }
        add(_holder.value_or(_threads.size()));
        add(_lockView);
        return text;
    }

private:
    template <class Visit>
    void forEachOutcome(std::size_t thread, Step const& step, Visit& visit) const {
        switch (step.kind) {
        case Step::Kind::load:
            for (std::size_t at = viewOf(thread, step); at < _memory[step.variable].size(); ++at)
                visit(after(thread, [&](Execution& next) { return next.load(thread, step, at); }));
            break;
        case Step::Kind::store:
            for (std::size_t at = viewOf(thread, step) + 1U; at <= _memory[step.variable].size(); ++at)
                if (canInsert(step.variable, at))
                    visit(after(thread, [&](Execution& next) { return next.store(thread, step, at); }));
            break;
        case Step::Kind::exchange:
            for (std::size_t at = viewOf(thread, step); at < _memory[step.variable].size(); ++at)
                if (_memory[step.variable][at].value != step.expected)
                    visit(after(thread, [&](Execution& next) { return next.load(thread, step, at); }));
                else if (canInsert(step.variable, at + 1))
                    visit(after(thread, [&](Execution& next) { return next.exchange(thread, step, at); }));
            break;
        case Step::Kind::take:
        case Step::Kind::fetch:
            if (!_holder)
                visit(after(thread, [&](Execution& next) { return next.enter(thread, step); }));
            break;
        case Step::Kind::change:
        case Step::Kind::release:
            visit(after(thread, [&](Execution& next) { return next.proceed(thread, step); }));
            break;
        }
    }

    [[nodiscard]] std::size_t viewOf(std::size_t thread, Step const& step) const {
        return _threads[thread].view[step.variable];
    }

    template <class Take>
    [[nodiscard]] Execution after(std::size_t thread, Take&& take) const {
        Execution next = *this;
        std::uint64_t const result = take(next);
        next._threads[thread].resume(result);
        return next;
    }

    [[nodiscard]] bool canInsert(std::size_t variable, std::size_t at) const {
        return at == _memory[variable].size() || !_memory[variable][at].isExchange;
    }

    std::uint64_t load(std::size_t thread, Step const& step, std::size_t at) {
        Write const& read = _memory[step.variable][at];
        View& view = _threads[thread].view;
        view[step.variable] = static_cast<std::uint8_t>(at);
        if (step.order != std::memory_order_relaxed)
            join(view, read.view);
        return read.value;
    }

    std::uint64_t store(std::size_t thread, Step const& step, std::size_t at) {
        insert(thread, step.variable, at, step.value, false);
        Write& written = _memory[step.variable][at];
        if (step.order != std::memory_order_relaxed)
            written.view = _threads[thread].view;
        return 0;
    }

    /** Acquires the write that it reads; its own write continues the release sequence of that write. */
    std::uint64_t exchange(std::size_t thread, Step const& step, std::size_t at) {
        std::uint64_t const found = load(thread, step, at);
        View const released = _memory[step.variable][at].view;
        insert(thread, step.variable, at + 1, step.value, true);
        join(_memory[step.variable][at + 1].view, released);
        return found;
    }

    void insert(std::size_t thread, std::size_t variable, std::size_t at, std::uint64_t value,
                bool isExchange) {
        auto const moveOn = [variable, at](View& view) {
            if (view[variable] >= at)
                ++view[variable];
        };
        for (Thread& other : _threads)
            moveOn(other.view);
        for (auto& writes : _memory)
            for (Write& write : writes)
                moveOn(write.view);
        moveOn(_lockView);
        View view{};
        view[variable] = static_cast<std::uint8_t>(at);
        _memory[variable].insert(_memory[variable].begin() + static_cast<std::ptrdiff_t>(at),
                                 {value, view, isExchange});
        _threads[thread].view[variable] = static_cast<std::uint8_t>(at);
    }

    /** Takes the lock. A fetch also reads a value and releases the lock; the upper half of its result is the state. */
    std::uint64_t enter(std::size_t thread, Step const& step) {
        View& view = _threads[thread].view;
        join(view, _lockView);
        if (step.kind == Step::Kind::take) {
            _holder = thread;
            return 0;
        }
        _lockView = view;
        return _memory[registerState].back().value << 32U | _values[step.variable];
    }

    /** Makes a change and counts it, or releases the lock. */
    std::uint64_t proceed(std::size_t thread, Step const& step) {
        if (step.kind == Step::Kind::release) {
            join(_lockView, _threads[thread].view);
            _holder.reset();
        } else {
            auto& states = _memory[registerState];
            insert(thread, registerState, states.size(), states.back().value + 1, false);
            _values[step.variable] = step.value;
        }
        return 0;
    }

    std::vector<Thread> _threads;
    std::array<std::vector<Write>, variables> _memory;
    std::array<std::uint64_t, declarations> _values{}; ///< in the register; read only under the lock
    std::optional<std::size_t> _holder;
    View _lockView{};
    Weakened _weakness;
};

/** Whether any execution of the threads goes wrong. */
bool canGoWrong(std::vector<Thread::Body> const& bodies, Weakened weakness) {
    std::vector<Thread> threads(bodies.begin(), bodies.end());
    std::vector<Execution> open{Execution(std::move(threads), weakness)};
    std::unordered_set<std::string> known{open.back().text()};
    while (!open.empty()) {
        Execution now = std::move(open.back());
        open.pop_back();
        if (now.isWrong())
            return true;
        now.forEachNext([&](Execution next) {
            if (known.insert(next.text()).second)
                open.push_back(std::move(next));
        });
    }
    return false;
}

constexpr std::size_t a = 0;
constexpr std::size_t b = 1;

/** Changes two settings one after the other under the lock. */
void changeBoth(Thread& thread) {
    Settings settings(thread);
    settings.lock();
    settings.set(a, 1);
    settings.set(b, 1);
    settings.unlock();
}

/** Changes one setting twice. */
void changeTwice(Thread& thread) {
    Settings settings(thread);
    for (std::uint64_t const value : {1U, 2U}) {
        settings.lock();
        settings.set(a, value);
        settings.unlock();
    }
}

void readA(Thread& thread) {
    Settings(thread).get(a);
}

void readB(Thread& thread) {
    Settings(thread).get(b);
}

/** Must see its own change. */
void changeAndRead(Thread& thread) {
    Settings settings(thread);
    settings.lock();
    settings.set(a, 1);
    settings.unlock();
    thread.isWrong = settings.get(a) != 1;
}

/** If it sees the later change, it must see the earlier one. */
void readBackwards(Thread& thread) {
    Settings settings(thread);
    std::uint64_t const later = settings.get(b);
    std::uint64_t const earlier = settings.get(a);
    thread.isWrong = later > earlier;
}

/** Must not see an older value in the second read. */
void readTwice(Thread& thread) {
    Settings settings(thread);
    std::uint64_t const first = settings.get(a);
    std::uint64_t const second = settings.get(a);
    thread.isWrong = first > second;
}

bool goesWrong(Weakened weakness) {
    return canGoWrong({changeBoth, readB, readBackwards}, weakness) ||
           canGoWrong({changeTwice, readA, readTwice}, weakness);
}

} // namespace

TEST(KeptValueModel, NeverMissesAnEarlierChange) {
    EXPECT_FALSE(canGoWrong({changeBoth, readB, readBackwards}, Weakened::nothing));
}

TEST(KeptValueModel, NeverMissesTheThreadsOwnChange) {
    EXPECT_FALSE(canGoWrong({changeAndRead, readA, readA}, Weakened::nothing));
}

TEST(KeptValueModel, NeverReturnsToAnOlderValue) {
    EXPECT_FALSE(canGoWrong({changeTwice, readA, readTwice}, Weakened::nothing));
}

TEST(KeptValueModel, NeedsTheOrderOfEachOperation) {
    EXPECT_TRUE(goesWrong(Weakened::loadOfState)) << "load of the state";
    EXPECT_TRUE(goesWrong(Weakened::loadOfBits)) << "load of the value";
    EXPECT_TRUE(goesWrong(Weakened::storeOfBits)) << "store of the value";
    EXPECT_TRUE(goesWrong(Weakened::storeOfState)) << "store of the state";
    EXPECT_TRUE(goesWrong(Weakened::exchange)) << "exchange of the state";
}
