// quill: shows what processes that use the library exchange and store.
#include <inttypes.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <span>
#include <string_view>

#include "command.h"
#include "complete.h"
#include "console.h"
#include "input.h"

namespace quill::cli {
namespace {

constexpr Command kCommands[] = {
    {"decode", "show the elements of a codec message", kDecodeHelp, decode},
    {"encode", "make a codec message from a text", kEncodeHelp, encode},
    {"listen", "show the codec messages that arrive at a socket", kListenHelp, listen},
    {"send", "send codec messages to a socket", kSendHelp, send},
    {"tlv", "show the records of a TLV buffer", kTlvHelp, tlv},
    {"vlan", "combine sets of VLANs", kVlanHelp, vlan},
    {"flash-history", "show which processes used the flash, newest last", kFlashHistoryHelp, flash_history},
    {"regtable", "verify, unpack and sign regulatory tables", kRegtableHelp, regtable},
    {"version", "compare software versions", kVersionHelp, version},
    {"md5", "print MD5 digests", kMd5Help, md5},
    {"hmac", "print an HMAC-MD5 code", kHmacHelp, hmac},
    {"scramble", "disguise a text", kScrambleHelp, scramble},
    {"unscramble", "restore a scrambled text", kUnscrambleHelp, unscramble},
    {"fqln", "split and build location names", kFqlnHelp, fqln},
    {"addr", "show an address in all its forms", kAddrHelp, addr},
    {"argv", "show how a command line splits into words", kArgvHelp, argv},
    {"info", "show what this device is and has", kInfoHelp, info},
    {"dump", "write the diagnostic dump", kDumpHelp, dump},
};

const char *running = nullptr;  // the command, once it is known

const Command *find_command(const char *name) {
    for (const Command &command : kCommands)
        if (strcmp(command.name, name) == 0) return &command;
    return nullptr;
}

void list_commands(FILE *to) {
    fputs("usage: quill COMMAND [ARGUMENT]...\n       quill help COMMAND\n\n", to);
    for (const Command &command : kCommands) fprintf(to, "  %-14s %s\n", command.name, command.summary);
    fputs(
        "\nquill COMMAND --help shows details and an example. Exit status: 0 done, 1 the\n"
        "data is wrong or not available, 2 wrong usage.\n",
        to);
}

// For completion in shells: prints what can follow the words.
int complete(std::span<char *> words) {
    const Command *const command = words.empty() ? nullptr : find_command(words[0]);
    if (command) {
        print_choices(*command, words.subspan(1));
    } else if (words.empty() || (words.size() == 1 && strcmp(words[0], "help") == 0)) {
        for (const Command &each : kCommands) printf("%s\t%s\n", each.name, each.summary);
        puts("help\tshow the help of a command\n--help\tlist the commands\n--version\tprint the version");
    }
    return kDone;
}

bool asks_for_help(std::span<char *> words) {
    for (const char *word : words) {
        if (strcmp(word, "--") == 0) return false;
        if (strcmp(word, "--help") == 0) return true;
    }
    return !words.empty() && strcmp(words[0], "-h") == 0;
}

int run(std::span<char *> words) {
    if (words.empty()) {
        list_commands(stderr);
        return kUsage;
    }
    const char *name = words[0];
    if (strcmp(name, "--version") == 0) {
        puts("quill " QUILL_PROGRAM_VERSION);
        return kDone;
    }
    if (strcmp(name, "--complete") == 0) return complete(words.subspan(1));
    const bool help = strcmp(name, "help") == 0;
    if (strcmp(name, "--help") == 0 || strcmp(name, "-h") == 0 || (help && words.size() == 1)) {
        list_commands(stdout);
        return kDone;
    }
    const Command *command = find_command(help ? words[1] : name);
    if (!command) {
        complain("no command \"%s\"; quill --help lists them", help ? words[1] : name);
        return kUsage;
    }
    if (help || asks_for_help(words.subspan(1))) {
        fputs(command->help, stdout);
        return kDone;
    }
    running = command->name;
    Arguments arguments(*command, words.subspan(1));
    return command->run(arguments);
}

void print_error(const char *format, va_list values) {
    fflush(stdout);  // keeps the output in order
    fprintf(stderr, "%squill%s%s:%s ", colour_of_errors(), running ? " " : "", running ? running : "",
            end_of_colour_of_errors());
    // Replaces control characters, because the message may contain foreign text and a terminal obeys them.
    char text[1024];
    vsnprintf(text, sizeof text, format, values);
    for (std::string_view left = text; !left.empty();) {
        const size_t length = utf8_length(left);
        if (length == 0 || is_control(left))
            fputc('?', stderr);
        else
            fwrite(left.data(), 1, length, stderr);
        left.remove_prefix(length ? length : 1);
    }
    fputc('\n', stderr);
}

}  // namespace

bool Arguments::take(const char *option) {
    bool taken = false;
    for (size_t i = 0; i < words_.size() && strcmp(words_[i], "--") != 0;) {
        if (strcmp(words_[i], option) != 0) {
            i++;
            continue;
        }
        drop(i, 1);
        taken = true;
    }
    return taken;
}

bool Arguments::take_operation(const char *name) {
    for (size_t i = 0; i < words_.size(); i++) {
        if (words_[i][0] == '-') continue;
        if (strcmp(words_[i], name) != 0) return false;
        drop(i, 1);
        return true;
    }
    return false;
}

int Arguments::no_operation() { misused("no operation \"%s\"", operands(1, SIZE_MAX)[0]); }

const char *Arguments::take_value(const char *option) {
    const size_t length = strlen(option);
    for (size_t i = 0; i < words_.size() && strcmp(words_[i], "--") != 0; i++) {
        if (strncmp(words_[i], option, length) != 0) continue;
        const char *value = words_[i] + length;
        if (*value == '=') {
            value++;
            drop(i, 1);
        } else if (*value != '\0') {
            continue;
        } else if (i + 1 == words_.size()) {
            misused("%s needs a value", option);
        } else {
            value = words_[i + 1];
            drop(i, 2);
        }
        return once(option, value);
    }
    return nullptr;
}

const char *Arguments::once(const char *option, const char *value) {
    if (take_value(option)) misused("%s is given twice", option);
    return value;
}

uint64_t Arguments::take_number(const char *option, uint64_t limit, uint64_t otherwise) {
    const char *const value = take_value(option);
    if (value && !parse_number(value, limit, otherwise))
        misused("%s: expected a number up to %" PRIu64 ", found \"%s\"", option, limit, value);
    return otherwise;
}

std::span<char *> Arguments::operands(size_t least, size_t most) {
    for (size_t i = 0; i < words_.size(); i++) {
        if (strcmp(words_[i], "--") == 0) {
            drop(i, 1);
            break;
        }
        if (words_[i][0] == '-' && words_[i][1] != '\0') misused("no option \"%s\"", words_[i]);
    }
    if (words_.size() < least) misused("too few arguments");
    if (words_.size() > most) misused("too many arguments: \"%s\"", words_[most]);
    return words_;
}

void Arguments::drop(size_t index, size_t count) {
    for (size_t i = index; i + count < words_.size(); i++) words_[i] = words_[i + count];
    words_ = words_.first(words_.size() - count);
}

void Arguments::refuse_terminal() const {
    if (isatty(STDOUT_FILENO)) misused("a message is not for a terminal: write it to a file, or use --hex");
}

int Arguments::misused(const char *format, ...) const {
    va_list values;
    va_start(values, format);
    print_error(format, values);
    va_end(values);
    const std::string_view help = command_.help;
    fwrite(help.data(), 1, help.find("\n\n") + 1, stderr);  // its usage
    exit(kUsage);
}

void complain(const char *format, ...) {
    va_list values;
    va_start(values, format);
    print_error(format, values);
    va_end(values);
}

void fail(const char *format, ...) {
    va_list values;
    va_start(values, format);
    print_error(format, values);
    va_end(values);
    exit(kData);
}

void flush_output() {
    if (fflush(stdout) != 0 || ferror(stdout)) fail("cannot write the output");
}

}  // namespace quill::cli

int main(int argc, char **argv) {
    const int status = quill::cli::run({argv + 1, static_cast<size_t>(argc > 0 ? argc - 1 : 0)});
    quill::cli::flush_output();
    return status;
}
