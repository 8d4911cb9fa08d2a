// quill regtable.
#include <errno.h>
#include <fcntl.h>
#include <quill/reg_table.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <span>
#include <string_view>

#include "command.h"
#include "console.h"

namespace quill::cli {

constexpr char kRegtableHelp[] =
    "usage: quill regtable verify|version [--json] FILE\n"
    "       quill regtable unpack FILE.gz OUT\n"
    "       quill regtable sign ARGUMENT...\n"
    "\n"
    "verify   tell whether FILE is signed by whom the library trusts, and print its\n"
    "         version\n"
    "version  print the version that FILE says it has; nothing is verified\n"
    "unpack   unpack FILE.gz into OUT; nothing is verified\n"
    "sign     make a signed table: calls sign-reg-table, whose --help tells the\n"
    "         arguments\n"
    "\n"
    "  --json   print the result as a JSON object\n"
    "\n"
    "The steps of a verification, and which one failed, go to standard error. It\n"
    "needs openssl, and the folder /quill/reg_table/ for its files.\n"
    "\n"
    "example: quill regtable verify table.signed && cp table.signed /flash/\n";

namespace {

// While it lasts, what the library prints on standard output goes to standard error: the output is for the result.
class OutputToErrors {
public:
    OutputToErrors() {
        fflush(stdout);
        *log_buf = '\0';
        kept_ = dup(STDOUT_FILENO);
        if (kept_ < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
            fail("cannot move standard output: %s", strerror(errno));
    }
    OutputToErrors(const OutputToErrors &) = delete;
    ~OutputToErrors() {
        if (*log_buf) puts("");  // behind the library's messages, which have no end of line
        fflush(stdout);
        dup2(kept_, STDOUT_FILENO);
        close(kept_);
    }

private:
    int kept_;
};

struct Reason {
    int code;
    const char *text;
};

constexpr Reason kReasons[] = {
    {QUILL_REG_TABLE_NOT_OPENED, "the file cannot be opened"},
    {QUILL_REG_TABLE_NO_MEMORY, "out of memory"},
    {QUILL_REG_TABLE_NO_CERTIFICATE, "the certificate could not be converted"},
    {QUILL_REG_TABLE_NO_SIGNATURE, "the signature could not be decoded"},
    {QUILL_REG_TABLE_NOT_WRITTEN, "a file cannot be written"},
    {QUILL_REG_TABLE_NOT_READ, "a section cannot be read, or is empty"},
    {QUILL_REG_TABLE_NOT_SPLIT, "the file cannot be opened, or its sections not be put into files"},
    {QUILL_REG_TABLE_NOT_UNPACKED, "gunzip cannot be run"},
    {QUILL_REG_TABLE_NOT_VALID, "the certificate or the signature is not valid"},
};

const char *reason_of(int code) {
    for (const Reason &reason : kReasons)
        if (reason.code == code) return reason.text;
    return "unknown reason";
}

std::string_view line_of(const char *text) { return {text, strcspn(text, "\n")}; }

void print_json(const char *path, bool verified, int code, const char *text) {
    Json json;
    json.begin('{');
    json.text("file", path);
    if (verified) json.boolean("valid", code == QUILL_REG_TABLE_VALID);
    if (code == QUILL_REG_TABLE_VALID && *text)
        json.text("version", line_of(text));
    else
        json.null("version");
    if (code != QUILL_REG_TABLE_VALID) json.number("code", int64_t{code});
    json.end('}');
    json.finish();
}

// Both operations print the version; one of them has verified it.
int show_version(Arguments &arguments, bool verify) {
    const bool as_json = arguments.take("--json");
    const char *const path = arguments.operands(1, 1)[0];
    char none[] = "", *text = none;
    int code;
    {
        OutputToErrors moved;
        code = verify ? parse_validate_encrypted_signed_reg_tbl_file(path) : int{QUILL_REG_TABLE_VALID};
        if (code == QUILL_REG_TABLE_VALID) code = get_reg_tbl_file_ver(path, &text);
    }
    const bool done = code == QUILL_REG_TABLE_VALID && *text;
    if (as_json) {
        print_json(path, verify, code, text);
    } else if (done) {
        if (verify) fputs("valid, version ", stdout);
        print_escaped(line_of(text));
        putchar('\n');
    }
    if (code != QUILL_REG_TABLE_VALID)
        complain("%s: %s (%d)", path, reason_of(code), code);
    else if (!done)
        complain("%s: no version section", path);
    return done ? kDone : kData;
}

// The library takes what gunzip could make of a file, whatever that was.
bool is_whole_gzip(const char *path) {
    const pid_t process = fork();
    if (process < 0) fail("cannot start a process: %s", strerror(errno));
    if (process == 0) {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDERR_FILENO);
        execlp("gunzip", "gunzip", "-t", "--", path, static_cast<char *>(nullptr));
        _exit(127);
    }
    int status;
    while (waitpid(process, &status, 0) < 0)
        if (errno != EINTR) return false;
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127) fail("cannot run gunzip");
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

int unpack(Arguments &arguments) {
    const auto files = arguments.operands(2, 2);
    const char *const in = files[0], *const out = files[1];
    if (access(in, R_OK) != 0) fail("cannot read %s: %s", in, strerror(errno));
    if (!is_whole_gzip(in)) fail("%s is no whole gzip file", in);
    int code;
    {
        OutputToErrors moved;
        code = decrypt_decompress_reg_tbl_file(in, out);
    }
    if (code != 0) fail("%s: %s (%d)", in, reason_of(code), code);
    return kDone;
}

[[noreturn]] void sign(std::span<char *> words) {
    static constexpr char kSigner[] = "sign-reg-table";
    words[0] = const_cast<char *>(kSigner);  // in place of "sign"; a null pointer stands behind the words of main
    execvp(kSigner, words.data());
    fail("cannot run %s: %s", kSigner, strerror(errno));
}

}  // namespace

int regtable(Arguments &arguments) {
    const std::span<char *> words = arguments.rest();
    if (!words.empty() && strcmp(words[0], "sign") == 0) sign(words);
    if (arguments.take_operation("verify")) return show_version(arguments, true);
    if (arguments.take_operation("version")) return show_version(arguments, false);
    if (arguments.take_operation("unpack")) return unpack(arguments);
    return arguments.no_operation();
}

}  // namespace quill::cli
