// What the program's commands share: how they are called, how they fail, and what they leave.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>

namespace quill::cli {

// Exit statuses.
enum Status { kDone = 0, kData = 1, kUsage = 2 };

class Arguments;

struct Command {
    const char *name;
    const char *summary;  // a line of the list of commands
    const char *help;     // its usage, options, and an example
    int (*run)(Arguments &arguments);
};

// The words after a command. A command first takes its options, which may be anywhere before a "--", and then the
// operands: a lone "-" is one. What it does not know ends the program with kUsage.
class Arguments {
public:
    Arguments(const Command &command, std::span<char *> words) : command_(command), words_(words) {}

    bool take(const char *option);
    // For a command of several operations, whose name is the first operand; no_operation() when it was none of them.
    bool take_operation(const char *name);
    [[noreturn]] int no_operation();
    // Of "--option VALUE" or "--option=VALUE"; null when it is not there.
    const char *take_value(const char *option);
    // The same for a number of at most `limit`; `otherwise` when it is not there.
    uint64_t take_number(const char *option, uint64_t limit, uint64_t otherwise);
    std::span<char *> operands(size_t least, size_t most);
    // The words as they are, for a command that hands them on.
    std::span<char *> rest() const { return words_; }

    // For a command that writes a message as it is: the program's end if standard output is a terminal.
    void refuse_terminal() const;

    // The message and the command's usage on standard error, and the program's end with kUsage.
    [[noreturn, gnu::format(printf, 2, 3)]] int misused(const char *format, ...) const;

private:
    void drop(size_t index, size_t count);
    const char *once(const char *option, const char *value);
    const Command &command_;
    std::span<char *> words_;
};

// "quill COMMAND: …" on standard error.
[[gnu::format(printf, 1, 2)]] void complain(const char *format, ...);
// The same, and the program's end with kData.
[[noreturn, gnu::format(printf, 1, 2)]] void fail(const char *format, ...);

// Hands on what was printed. The program ends with kData when it cannot be written.
void flush_output();

int decode(Arguments &arguments);
int encode(Arguments &arguments);
int listen(Arguments &arguments);
int send(Arguments &arguments);
int tlv(Arguments &arguments);
int vlan(Arguments &arguments);
int flash_history(Arguments &arguments);
int regtable(Arguments &arguments);
int version(Arguments &arguments);
int md5(Arguments &arguments);
int hmac(Arguments &arguments);
int scramble(Arguments &arguments);
int unscramble(Arguments &arguments);
int fqln(Arguments &arguments);
int addr(Arguments &arguments);
int argv(Arguments &arguments);
int info(Arguments &arguments);
int dump(Arguments &arguments);

extern const char kDecodeHelp[], kEncodeHelp[], kListenHelp[], kSendHelp[], kTlvHelp[], kVlanHelp[],
    kFlashHistoryHelp[], kRegtableHelp[], kVersionHelp[], kMd5Help[], kHmacHelp[], kScrambleHelp[], kUnscrambleHelp[],
    kFqlnHelp[], kAddrHelp[], kArgvHelp[], kInfoHelp[], kDumpHelp[];

}  // namespace quill::cli
