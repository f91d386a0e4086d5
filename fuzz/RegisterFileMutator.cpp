// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>

#include "Format.h"

// Changes a register file so that its checksum stays correct. The fuzzer would almost never guess a checksum, and would
// test only the outer parts. Mostly, the mutator changes the items of the tree one by one and corrects their lengths;
// sometimes it changes the bytes of the payload, or of the whole file without correcting anything.

using namespace fuzz;

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

using Random = std::minstd_rand;

/** An item of a payload: a head and, for a string, its content. */
struct Item {
    unsigned major;
    std::uint64_t value;
    unsigned width; ///< the minimum width of the head's number, in bytes
    std::string content;
};

using Items = std::vector<Item>;

bool isString(Item const& item) {
    return item.major == format::byteString || item.major == format::textString;
}

/** The items at the start of some bytes, up to the first invalid one. */
Items itemsOf(std::string_view payload) {
    Items items;
    format::Reader reader(payload);
    while (auto const head = reader.head()) {
        Item item{head->major, head->value, 0, {}};
        if (isString(item)) {
            auto const content = reader.take(item.value);
            if (!content)
                break;
            item.content = *content;
        }
        items.push_back(std::move(item));
    }
    return items;
}

std::string bytesOf(Items const& items) {
    std::string payload;
    for (Item const& item : items)
        payload += format::head(item.major, isString(item) ? item.content.size() : item.value, item.width) +
                   item.content;
    return payload;
}

/** The payload of a register file, even if its checksum or length is wrong; otherwise an empty directory. */
std::string payloadOf(std::string_view file) {
    format::Reader reader(file.substr(std::min(file.size(), format::selfDescribed.size())));
    for (int part = 0; part < 5; ++part)
        if (!reader.head())
            return format::head(format::map, 0);
    return std::string(*reader.take(reader.left()));
}

std::string mutated(std::string bytes, std::size_t maxSize) {
    std::size_t const size = bytes.size();
    bytes.resize(std::max(size, maxSize));
    bytes.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(bytes.data()), size, bytes.size()));
    return bytes;
}

std::size_t anyOf(Items const& items, Random& random) {
    return random() % items.size();
}

/** Corrects the count of the directory that contains an added or removed entry. */
void recount(Items& items, std::size_t before, std::int64_t by) {
    while (before-- > 0)
        if (items[before].major == format::map) {
            items[before].value += static_cast<std::uint64_t>(by);
            return;
        }
}

void mutateItem(Items& items, Random& random) {
    if (items.empty())
        items.push_back({format::map, 0, 0, {}});
    std::size_t const chosen = anyOf(items, random);
    Item& item = items[chosen];
    switch (random() % 8) {
    case 0: // other content, with the correct length
    case 1:
        item.content = mutated(item.content, item.content.size() + 1 + random() % 64);
        if (!isString(item))
            item.major = random() % 2 == 0 ? format::byteString : format::textString;
        break;
    case 2: // a wrong count or length
        item.value += random() % 5 - 2;
        break;
    case 3: // a head longer than necessary
        item.width = 1U << random() % 4;
        break;
    case 4: { // a duplicate name or entry
        Item const name = items[anyOf(items, random)];
        Item const value = items[anyOf(items, random)];
        auto const at = static_cast<std::ptrdiff_t>(chosen) + 1;
        items.insert(items.begin() + at, {{format::textString, 0, 0, name.content}, value});
        recount(items, static_cast<std::size_t>(at), 1);
        break;
    }
    case 5: { // one entry less
        std::size_t const last = std::min(items.size(), chosen + 2);
        recount(items, chosen, -1);
        items.erase(items.begin() + static_cast<std::ptrdiff_t>(chosen),
                    items.begin() + static_cast<std::ptrdiff_t>(last));
        break;
    }
    case 6: // an empty directory in place of any item
        item = {format::map, 0, 0, {}};
        break;
    default: { // deep: a chain of directories
        std::size_t const depth = 1 + random() % 200;
        Items chain;
        for (std::size_t i = 0; i < depth; ++i) {
            chain.push_back({format::textString, 0, 0, "d"});
            chain.push_back({format::map, i + 1 < depth ? 1U : 0U, 0, {}});
        }
        std::size_t const at = std::min(items.size(), chosen + 1);
        recount(items, at, 1);
        items.insert(items.begin() + static_cast<std::ptrdiff_t>(at), chain.begin(), chain.end());
    }
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
    Random random(seed + 1);
    std::string file(reinterpret_cast<char const*>(data), size);
    unsigned const way = static_cast<unsigned>(random() % 8);
    if (way == 0)
        return LLVMFuzzerMutate(data, size, maxSize);
    std::string payload = payloadOf(file);
    if (way == 1) {
        payload = mutated(payload, maxSize);
    } else {
        Items items = itemsOf(payload);
        for (std::size_t changes = 1 + random() % 3; changes > 0; --changes)
            mutateItem(items, random);
        payload = bytesOf(items);
    }
    file = format::wrap(payload);
    if (file.size() > maxSize)
        return size;
    std::copy(file.begin(), file.end(), data);
    return file.size();
}
