// Command lines split into words, and words joined: what was joined comes back where the rules let it.
#include <quill/argv.h>

#include "fuzz/fuzz.h"
#include "support/argv_model.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static quill::test::GuardedPage page, lines;
    quill::fuzz::Input input(data, size);
    const auto buffer_size = static_cast<int>(input.below(64));
    const std::string line = input.text();
    char *words[600];
    char *const front = page.hold_text('f' + line), *const start = front + 1;
    const int count = cmdline_to_argv(600, words, start);
    EXPECT(count >= 0 && static_cast<size_t>(count) <= line.size());
    EXPECT(*front == 'f' && start[line.size()] == '\0');
    std::vector<std::string> texts;
    bool all_come_back = true;
    for (int i = 0; i < std::min(count, 600); i++) {
        EXPECT(words[i] >= (i ? words[i - 1] + strlen(words[i - 1]) + 1 : start));
        EXPECT(words[i] + strlen(words[i]) <= start + line.size());
        texts.emplace_back(words[i]);
        all_come_back &= quill::test::comes_back(texts.back());
    }
    EXPECT(cmdline_to_argv(1, words, page.hold_text(line)) == count);

    std::vector<char *> given;
    for (std::string &text : texts) given.push_back(text.data());
    const auto n = static_cast<int>(given.size());
    char *const cut = quill::fuzz::room(lines, static_cast<size_t>(buffer_size));
    const int length = argv_to_cmdline(cut, buffer_size, n, given.data());
    if (buffer_size == 0 || n == 0) return 0;
    EXPECT(strlen(cut) == static_cast<size_t>(std::min(length, buffer_size - 1)));
    char *const joined = quill::fuzz::room(lines, static_cast<size_t>(length) + 1);
    EXPECT(argv_to_cmdline(joined, length + 1, n, given.data()) == length);
    bool same = cmdline_to_argv(600, words, joined) == n;
    for (size_t i = 0; same && i < texts.size(); i++) same = texts[i] == words[i];
    EXPECT(same || !all_come_back);
    EXPECT(!same || all_come_back || n > 1);  // of several, one that is lost may look like another
    return 0;
}
