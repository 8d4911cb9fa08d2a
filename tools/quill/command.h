// What the program's commands share: how they are called, how they fail, and their exit statuses.
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
// operands; a single "-" is an operand. An unknown option ends the program with kUsage.
class Arguments {
public:
    Arguments(const Command &command, std::span<char *> words) : command_(command), words_(words) {}

    bool take(const char *option);
    // For a command with several operations. If the first operand is `name`, removes it and returns true. If the
    // operand is the name of no operation, call no_operation().
    bool take_operation(const char *name);
    [[noreturn]] int no_operation();
    // Returns the value of "--option VALUE" or "--option=VALUE"; null if the option is missing.
    const char *take_value(const char *option);
    // Returns the value as a number of at most `limit`; `otherwise` if the option is missing.
    uint64_t take_number(const char *option, uint64_t limit, uint64_t otherwise);
    std::span<char *> operands(size_t least, size_t most);
    // Returns the words unchanged, for a command that passes them on.
    std::span<char *> rest() const { return words_; }

    // For a command that writes a message as raw bytes: ends the program if standard output is a terminal.
    void refuse_terminal() const;

    // Prints the message and the command's usage on standard error, and ends the program with kUsage.
    [[noreturn, gnu::format(printf, 2, 3)]] int misused(const char *format, ...) const;

private:
    void drop(size_t index, size_t count);
    const char *once(const char *option, const char *value);
    const Command &command_;
    std::span<char *> words_;
};

// Prints "quill COMMAND: …" on standard error.
[[gnu::format(printf, 1, 2)]] void complain(const char *format, ...);
// Prints the same, and ends the program with kData.
[[noreturn, gnu::format(printf, 1, 2)]] void fail(const char *format, ...);

// Flushes standard output. If that fails, the program ends with kData.
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
