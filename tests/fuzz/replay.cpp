// replay FOLDER: gives a target every file of its corpus, in order of names, and an empty input. The name of a file is
// told before it is tried, so the last one told is the one that failed.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "fuzz/fuzz.h"

extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int *argc, char ***argv);

int main(int argc, char **argv) {
    if (argc != 2) return 2;
    const int status = LLVMFuzzerInitialize ? LLVMFuzzerInitialize(&argc, &argv) : 0;
    std::cout << "(empty)" << std::endl;
    LLVMFuzzerTestOneInput(nullptr, 0);
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::directory_iterator(argv[1])) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const auto &file : files) {
        std::cout << file.filename().string() << std::endl;
        std::ifstream stream(file, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    }
    std::cout << files.size() << " inputs\n";
    return files.empty() ? 1 : status;
}
