// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// usage: velmorand-replay-TARGET FILE-OR-FOLDER...
//
// Runs the target once for every file, in the order of their names, in any build and without a fuzzer. A broken promise
// or an empty list of files ends the process.

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> filesIn(std::filesystem::path const& place) {
    if (!std::filesystem::is_directory(place))
        return {place};
    std::vector<std::filesystem::path> files;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(place))
        if (entry.is_regular_file())
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

void replay(std::filesystem::path const& file) {
    std::ifstream stream(file, std::ios::binary);
    stream.exceptions(std::ios::badbit | std::ios::failbit);
    std::string const input{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(input.data()), input.size());
}

} // namespace

int main(int argc, char** argv) try {
    std::size_t replayed = 0;
    for (std::string const& place : std::vector<std::string>(argv + 1, argv + argc))
        for (auto const& file : filesIn(place)) {
            // Printed first, so that the last line names the input that failed.
            std::printf("%s\n", file.c_str());
            static_cast<void>(std::fflush(stdout));
            replay(file);
            ++replayed;
        }
    std::printf("%zu inputs\n", replayed);
    return replayed > 0 ? 0 : 1;
} catch (std::exception const& failure) {
    static_cast<void>(std::fprintf(stderr, "%s\n", failure.what()));
    return 1;
}
