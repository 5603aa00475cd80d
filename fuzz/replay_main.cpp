// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size);

namespace {

std::vector<std::filesystem::path> filesBelow(const std::filesystem::path &where) {
    if (!std::filesystem::is_directory(where))
        return {where};
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(where)) {
        if (entry.is_regular_file())
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool replay(const std::filesystem::path &file) {
    std::ifstream stream(file, std::ios::binary);
    // Of exact size, so that a sanitizer sees the first byte read past the end.
    std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
    bytes.shrink_to_fit();
    if (!stream) {
        std::cerr << "cannot read " << file << '\n';
        return false;
    }
    std::cerr << file.filename() << ' ' << std::flush;
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    return true;
}

} // namespace

// Runs a fuzz target over files instead of invented inputs: usage: <program> FILE-OR-DIRECTORY...
int main(int argc, char **argv) {
    size_t count = 0;
    for (int index = 1; index < argc; ++index) {
        for (const auto &file : filesBelow(argv[index])) {
            if (!replay(file))
                return 1;
            ++count;
        }
    }
    std::cerr << "\nreplayed " << count << " inputs\n";
    return count > 0 ? 0 : 1;
}
