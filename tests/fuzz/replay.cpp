// replay CORPUS: gives a target an empty input, every line of its corpus, and then inputs derived from these. The
// inputs are the same on every machine. Each input is printed before it is tried, so the last printed input is the one
// that failed.
#include <algorithm>
#include <iostream>

#include "base/ascii.h"
#include "fuzz/fuzz.h"
#include "support/random.h"

extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int *argc, char ***argv);

namespace {

using quill::test::Random;
using Bytes = std::vector<uint8_t>;

constexpr uint64_t kDerived = 20000;
constexpr size_t kLongest = 2000;

ptrdiff_t place(Random &random, size_t size) {
    return static_cast<ptrdiff_t>(random.below(static_cast<uint32_t>(size) + 1));
}

// Returns a random part of an input: nothing, a piece of it, or all of it.
std::span<const uint8_t> part(Random &random, const Bytes &bytes) {
    const auto from = static_cast<size_t>(place(random, bytes.size()));
    return std::span(bytes).subspan(from, static_cast<size_t>(place(random, bytes.size() - from)));
}

// Changes an input by one step: replaces a byte by any byte or by one from elsewhere in the input, or removes, moves or
// inserts a part.
void change(Random &random, Bytes &bytes, const Bytes &other) {
    const auto at = bytes.begin() + place(random, bytes.size());
    const auto from = part(random, random.one_in(3) ? other : bytes);
    const Bytes piece(from.begin(), from.end());
    switch (random.below(4)) {
        case 0:
            if (at != bytes.end()) *at = static_cast<uint8_t>(random.next());
            break;
        case 1:
            if (at != bytes.end() && !other.empty()) *at = other[random.below(static_cast<uint32_t>(other.size()))];
            break;
        case 2: bytes.erase(at, at + place(random, std::min<size_t>(static_cast<size_t>(bytes.end() - at), 8))); break;
        default: bytes.insert(at, piece.begin(), piece.end());
    }
    bytes.resize(std::min(bytes.size(), kLongest));
}

Bytes derived(uint64_t number, const std::vector<Bytes> &corpus) {
    Random random(number);
    const auto any = [&]() -> const Bytes & { return corpus[random.below(static_cast<uint32_t>(corpus.size()))]; };
    Bytes bytes = any();
    for (uint32_t steps = 1 + random.below(4); steps > 0; steps--) change(random, bytes, any());
    return bytes;
}

void try_input(const std::string &name, const Bytes &bytes) {
    std::cout << name << std::endl;
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

// Reads a line of a corpus. Letters, digits and punctuation, except the backslash, are written as they are. Any other
// byte is \xHH.
bool read_line(const char *at, Bytes &bytes) {
    for (; *at != '\n'; at++) {
        int byte = '!' <= *at && *at <= '~' ? *at : -1;
        if (byte == '\\') {
            const int high = *++at == 'x' ? quill::hex_value(*++at) : -1;
            const int low = high >= 0 ? quill::hex_value(*++at) : -1;
            byte = low >= 0 ? high << 4 | low : -1;
        }
        if (byte < 0) return false;
        bytes.push_back(static_cast<uint8_t>(byte));
    }
    return true;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) return 2;
    const int status = LLVMFuzzerInitialize ? LLVMFuzzerInitialize(&argc, &argv) : 0;
    try_input("(empty)", {});
    std::vector<Bytes> corpus;
    FILE *file = fopen(argv[1], "rb");
    if (!file) return 1;
    char *line = nullptr;
    for (size_t room = 0; getline(&line, &room, file) > 0;) {
        const std::string name = "line " + std::to_string(corpus.size() + 1);
        if (!read_line(line, corpus.emplace_back())) {
            std::cout << name << " is malformed" << std::endl;
            exit(1);
        }
        try_input(name, corpus.back());
    }
    free(line);
    fclose(file);
    if (corpus.empty()) return 1;
    for (uint64_t i = 0; i < kDerived; i++) try_input("derived " + std::to_string(i), derived(i, corpus));
    return status;
}
