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
#include "report.h"

namespace quill::cli {

constexpr char kRegtableHelp[] =
    "usage: quill regtable verify|version [--json] [--verbose] FILE\n"
    "       quill regtable unpack FILE.gz OUT\n"
    "       quill regtable sign ARGUMENT...\n"
    "\n"
    "verify   check that FILE has a signature that the library trusts, and print its\n"
    "         version\n"
    "version  print the version in FILE, without verifying anything\n"
    "unpack   unpack FILE.gz into OUT, without verifying anything\n"
    "sign     make a signed table with sign-reg-table; its --help lists the arguments\n"
    "\n"
    "  --json     print the result as a JSON object\n"
    "  --verbose  print the library's messages about each step on standard error\n"
    "\n"
    "verify needs openssl, and the folder /quill/reg_table/ for temporary files.\n"
    "\n"
    "example: quill regtable verify table.signed && cp table.signed /flash/\n";

namespace {

// While an object of this class exists, the library's output goes to standard error, or is discarded. Standard output
// is only for the result.
class LibraryOutput {
public:
    explicit LibraryOutput(bool shown) {
        fflush(stdout);
        *log_buf = '\0';
        kept_ = dup(STDOUT_FILENO);
        const int other = shown ? STDERR_FILENO : open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (kept_ < 0 || other < 0 || dup2(other, STDOUT_FILENO) < 0)
            fail("cannot move standard output: %s", strerror(errno));
        if (!shown) close(other);
    }
    LibraryOutput(const LibraryOutput &) = delete;
    ~LibraryOutput() {
        if (*log_buf) puts("");  // ends the line after the library's messages, which have no newline
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

constexpr char kFolder[] = "/quill/reg_table";

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

// Prints why the library refuses the file at path.
void complain_of(const char *path, int code) {
    if (code == QUILL_REG_TABLE_NOT_SPLIT && access(path, R_OK) == 0 && access(kFolder, W_OK | X_OK) != 0)
        complain("%s: no folder for temporary files, %s: %s (%d)", path, kFolder, strerror(errno), code);
    else
        complain("%s: %s (%d)", path, reason_of(code), code);
}

std::string_view line_of(const char *text) { return {text, strcspn(text, "\n")}; }

void show(Report &report, const char *path, bool verified, int code, std::string_view version) {
    const bool is_valid = code == QUILL_REG_TABLE_VALID;
    char shown[160];
    snprintf(shown, sizeof shown, "%s%.*s", verified ? "valid, version " : "", static_cast<int>(version.size()),
             version.data());
    report.begin_object();
    report.text(json_only("file"), path);
    if (verified) report.boolean(json_only("valid"), is_valid);
    if (is_valid && !version.empty())
        report.text({"version", ""}, version, shown);
    else
        report.unknown(json_only("version"));
    if (!is_valid) report.number(json_only("code"), code);
    report.end_object();
}

// Both operations print the version. `verify` selects the one that verifies the file first.
int show_version(Arguments &arguments, bool verify) {
    const bool as_json = arguments.take("--json"), verbose = arguments.take("--verbose");
    const char *const path = arguments.operands(1, 1)[0];
    char none[] = "", *text = none;
    int code;
    {
        const LibraryOutput moved(verbose);
        code = verify ? parse_validate_encrypted_signed_reg_tbl_file(path) : int{QUILL_REG_TABLE_VALID};
        if (code == QUILL_REG_TABLE_VALID) code = get_reg_tbl_file_ver(path, &text);
    }
    const bool done = code == QUILL_REG_TABLE_VALID && *text;
    Report report(as_json);
    show(report, path, verify, code, line_of(text));
    if (code != QUILL_REG_TABLE_VALID)
        complain_of(path, code);
    else if (!done)
        complain("%s: no version section", path);
    return done ? kDone : kData;
}

// The library accepts any output of gunzip, even from a damaged file.
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
    if (!is_whole_gzip(in)) fail("%s is not a whole gzip file", in);
    int code;
    {
        const LibraryOutput moved(false);
        code = decrypt_decompress_reg_tbl_file(in, out);
    }
    if (code != 0) complain_of(in, code);
    return code == 0 ? kDone : kData;
}

[[noreturn]] void sign(std::span<char *> words) {
    static constexpr char kSigner[] = "sign-reg-table";
    words[0] = const_cast<char *>(kSigner);  // in place of "sign"; a null pointer follows the words of main
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
