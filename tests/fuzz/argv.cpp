// Command lines split into words, and words joined. Splitting a joined line gives the words again, where the rules
// allow it.
#include <quill/argv.h>

#include "fuzz/fuzz.h"

namespace {

// Returns whether splitting restores the word after joining. The word must not be empty, must lose no character, and
// may have a single quote only if joining quotes the word.
bool comes_back(const std::string &word) {
    const auto has = [&](const char *set) { return word.find_first_of(set) != std::string::npos; };
    return !word.empty() && !has("\r\n") && (!has("'") || has("<>;&| \t"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static quill::test::GuardedPage page, lines;
    quill::fuzz::Input input(data, size);
    const auto buffer_size = static_cast<int>(input.below(64));
    const std::string line = input.text();
    char *words[600], *const front = page.hold_text('f' + line), *end = front + 1;
    const int count = cmdline_to_argv(600, words, front + 1);
    EXPECT(count >= 0 && count <= 600 && *front == 'f' && front[line.size() + 1] == '\0');
    std::vector<std::string> texts(words, words + count);
    for (int i = 0; i < count; end = words[i] + texts[static_cast<size_t>(i)].size() + 1, i++) EXPECT(words[i] >= end);
    EXPECT(end <= front + line.size() + 2 && cmdline_to_argv(1, words, page.hold_text(line)) == count);

    std::vector<char *> given;
    for (std::string &text : texts) given.push_back(text.data());
    char *const cut = quill::fuzz::room(lines, static_cast<size_t>(buffer_size));
    const int length = argv_to_cmdline(cut, buffer_size, count, given.data());
    if (buffer_size == 0 || count == 0) return 0;
    EXPECT(strlen(cut) == static_cast<size_t>(std::min(length, buffer_size - 1)));
    char *const joined = quill::fuzz::room(lines, static_cast<size_t>(length) + 1);
    EXPECT(argv_to_cmdline(joined, length + 1, count, given.data()) == length);
    if (std::all_of(texts.begin(), texts.end(), comes_back))
        EXPECT(cmdline_to_argv(600, words, joined) == count && std::equal(texts.begin(), texts.end(), words));
    return 0;
}
