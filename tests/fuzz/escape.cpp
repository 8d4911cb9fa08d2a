// Decodes escaped and scrambled texts of any bytes, and texts that the library has encoded.
#include <quill/scramble.h>

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using quill::fuzz::room;
    static quill::test::GuardedPage source, out, back;
    quill::fuzz::Input input(data, size);
    const int ch = input.byte(), slack = static_cast<int>(input.below(8));
    const std::string text = input.text();
    const auto length = static_cast<int>(text.size());
    const int result_size = length + slack;

    char *const decoded = room(out, static_cast<size_t>(std::max(result_size, 1)));
    const int decoding = string_decode(source.hold_text(text), decoded, result_size, ch);
    EXPECT((decoding == -1) == (slack == 0));
    if (slack > 0) EXPECT(decoding == 0 || decoding == -2 || decoding == -3);
    if (decoding == -2) EXPECT(decoded == text);

    char *const encoded = room(out, static_cast<size_t>(result_size) + 1);
    const int encoding = string_encode(source.hold_text(text), encoded, result_size, static_cast<uint32_t>(ch));
    const char escape = static_cast<char>((ch & 0xf0) | 0x0a);
    const auto pairs =
        std::count_if(text.begin(), text.end(), [=](char c) { return c == escape || c == static_cast<char>(ch); });
    const bool plain_form = pairs == 0 && (ch < 32 || ch > 126);
    EXPECT(encoding == (slack == 0 ? -1 : plain_form ? -2 : length + pairs > result_size ? -4 : 0));
    if (encoding == 0 || encoding == -2) {
        char *const again = room(back, strlen(encoded) + 1);
        EXPECT(string_decode(encoded, again, static_cast<int>(strlen(encoded)) + 1, ch) == encoding);
        EXPECT(again == text);
    }

    auto *const at = out.room(text.size(), 0xee);
    EXPECT(scrambleString(source.hold_text(text), at) == length);
    char *const plain = room(back, text.size());
    EXPECT(unscrambleString(at, plain, length) == length);
    EXPECT(text.compare(0, std::string::npos, plain, text.size()) == 0);
    const auto printable_size = static_cast<size_t>(std::max(result_size - 3, 0));
    EXPECT(scrambleStringAscii(source.hold_text(text), room(out, printable_size),
                               static_cast<uint32_t>(printable_size)) == 1);
    EXPECT(unscrambleStringAscii(source.hold_text(text), room(out, (text.size() + 1) / 2)) == 1);

    return 0;
}
