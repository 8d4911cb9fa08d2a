#include <quill/reg_table.h>

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "base/ascii.h"
#include "base/bounded_text.h"
#include "base/cancellation.h"
#include "base/descriptor.h"
#include "base/errno.h"
#include "base/fixed_file.h"
#include "base/memory.h"
#include "base/paths.h"
#include "base/prefix.h"
#include "base/shell_line.h"
#include "base/text_file.h"
#include "security/certificates.h"
#include "security/reg_table_sections.h"

// A table goes through a chain of temporary files, each written by the library or by a command from those before it:
//
//     signed file -- split --> certificate   -- openssl x509 --> DER --> PEM, public key
//                              signature     -- openssl enc  --> bytes
//                              table, version --> signed data
//     compiled-in certificates -- openssl x509 --> authorities, PEM
//     openssl verify: certificate, authorities        "...tempCert.pem: OK"
//     openssl dgst:   public key, bytes, signed data  "Verified OK"
//
// The success of a command is judged only by its output file, never by its exit status. So every output file is created
// empty before its command runs: a file of an interrupted run is then never taken for the result.

using quill::Descriptor;
using quill::NoCancellation;
using std::string_view;
namespace paths = quill::paths;

char log_buf[256];

namespace {

using Text = quill::Owned<char>;  // ends with a NUL
using CommandLine = quill::ShellLine<512>;

// Prints the message of a step, and returns the step's result.
[[gnu::format(printf, 2, 3)]] int log_and_return(int result, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(log_buf, sizeof log_buf, format, arguments);
    va_end(arguments);
    printf(" ^[msg %s]", log_buf);
    return result;
}

// --- files

using Files = std::span<const char *const>;

void remove_all(Files files) {
    for (const char *file : files) unlink(file);
}

// One process at a time uses the temporary files; otherwise a process could read the output of another one's command.
// The lock is on a file of its own, which exists only while it is locked. The destructor removes all files.
class [[nodiscard]] TemporaryFiles {
public:
    explicit TemporaryFiles(Files files) : files_(files) {}
    ~TemporaryFiles() {
        if (!lock_) return;
        remove_all(files_);
        unlink(paths::kDecrypted);
    }
    TemporaryFiles(const TemporaryFiles &) = delete;
    TemporaryFiles &operator=(const TemporaryFiles &) = delete;

    // Waits for another process that uses the files. Returns false if the lock's file cannot be opened.
    bool lock() {
        do {
            lock_ = quill::open_fixed(paths::kDecrypted, O_WRONLY | O_CREAT, S_IRUSR | S_IWUSR);
            if (!lock_) remove_trap();
            if (lock_ && quill::repeat_if_interrupted([&] { return flock(lock_.get(), LOCK_EX); }) != 0) lock_.reset();
        } while (lock_ && !is_in_place());  // repeat if the process that had the lock before has removed the file
        return static_cast<bool>(lock_);
    }

private:
    // Removes a link or a pipe at the lock's path, so that only one run fails because of it.
    static void remove_trap() {
        struct stat found;
        if (lstat(paths::kDecrypted, &found) == 0 && !S_ISREG(found.st_mode)) unlink(paths::kDecrypted);
    }
    bool is_in_place() const {
        struct stat locked, found;
        return fstat(lock_.get(), &locked) == 0 && lstat(paths::kDecrypted, &found) == 0 &&
               locked.st_ino == found.st_ino && locked.st_dev == found.st_dev;
    }

    Files files_;
    Descriptor lock_;
};

bool write_temporary(const char *path, string_view bytes) {
    const Descriptor file = quill::create_temporary(path);
    return file && quill::write_all(file.get(), bytes);
}

bool write_certificate(const char *path, std::span<const uint8_t> der) {
    return write_temporary(path, {reinterpret_cast<const char *>(der.data()), der.size()});
}

// Returns the whole file; null, with a message, if it cannot be read.
Text read_file(const char *path, size_t *size) {
    const Descriptor file = quill::open_fixed(path, O_RDONLY);
    struct stat status;
    if (!file || fstat(file.get(), &status) != 0) {
        perror(path);
        return {};
    }
    *size = static_cast<size_t>(status.st_size);
    const bool countable = status.st_size >= 0 && status.st_size < PTRDIFF_MAX;
    Text text = countable ? quill::new_zeroed<char>(*size + 1) : nullptr;
    if (!text) {
        (void)log_and_return(1, "\n Unable to allocate buffer");
        return {};
    }
    const ssize_t length = read(file.get(), text.get(), *size);
    if (length == static_cast<ssize_t>(*size)) return text;
    (void)log_and_return(1, "readVerify:read size %d does not match stat size %d\n", static_cast<int>(length),
                         static_cast<int>(*size));
    return {};
}

Text read_file(const char *path) {
    size_t size;
    return read_file(path, &size);
}

// Returns the whole file; null if it contains a NUL or cannot be read. Text after a NUL would be left out of the signed
// data without an error.
Text read_text(const char *path) {
    size_t size;
    Text text = read_file(path, &size);
    return text && strlen(text.get()) == size ? std::move(text) : Text();
}

// --- commands

// No command may wait for input from a person: its input is empty and, if the machine has setsid, it has no terminal.
// The two variables keep openssl from adding the machine's authorities, those of the whole Internet, to those of
// -CAfile.
constexpr char kAlone[] = "SSL_CERT_DIR=/dev/null SSL_CERT_FILE=/dev/null </dev/null $(command -v setsid) ";

bool run(const CommandLine &line) {
    char text[sizeof kAlone + sizeof line];
    snprintf(text, sizeof text, "%s%s", kAlone, line.text());
    errno = 0;
    const int status = system(text);
    // glibc returns status 127 with errno if no process could be started. A 127 of the shell comes without errno.
    constexpr int kNotFound = 127 << 8;
    return status >= 0 && !(status == kNotFound && errno != 0);
}

// Runs a command whose last %s is its output file.
template <typename... Words>
bool run_into(const char *output, const char *command, Words... words) {
    CommandLine line;
    return quill::create_temporary(output) && line.format(command, words..., output) && run(line);
}

// --- the steps

struct CloseStream {
    void operator()(FILE *stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, CloseStream>;

struct SectionFile {
    const char *path;
    const char *not_opened;
};
constexpr SectionFile kSectionFiles[] = {
    {paths::kTableCertificate, "\n Unable to open the parsed cert file"},
    {paths::kTableSignature, "\n Unable to open the parsed sign file"},
    {paths::kTableContent, "\n Unable to open the parsed input file"},
    {paths::kTableVersion, "\n Unable to open the parsed version file"},
};
static_assert(std::size(kSectionFiles) == quill::kRegTableSections);
constexpr char kNotOpened[] = "\n Unable to open the data file";
constexpr char kNotConverted[] = "Failed to convert cert from pem to der";

Stream open_section(const char *path) {
    Descriptor file = quill::create_temporary(path);
    Stream stream(file ? fdopen(file.get(), "w") : nullptr);
    if (stream) file.release();
    return stream;
}

// Returns whether a line of a certificate is plain PEM: a marker or base64. A header such as "Proc-Type: 4,ENCRYPTED"
// would make openssl wait for a pass phrase.
bool is_plain_pem(string_view line) {
    if (const auto *const marker = quill::reg_table_marker(line)) line.remove_prefix(marker->text.size());
    return std::all_of(line.begin(), line.end(), [](char c) {
        return quill::is_alphanumeric(c) || quill::is_space(c) || c == '+' || c == '/' || c == '=';
    });
}

using Version = char[128];

void copy_version(Version &last, string_view line) {
    (void)quill::copy_text(last, sizeof last, quill::prefix(line, line.find('\0')));
}

// What the split finds out about the sections.
struct Sections {
    bool plain_pem = true;  // the certificate is plain PEM
    Version version = "";   // the last line of the version section
};

// Writes each section to its file.
bool split(const char *path, TemporaryFiles &temporary, Sections &sections) {
    if (!path) return false;
    const Stream input(fopen(path, "re"));
    if (!input) return log_and_return(false, kNotOpened);
    if (!temporary.lock()) return log_and_return(false, "%s", kSectionFiles[0].not_opened);
    Stream files[std::size(kSectionFiles)];
    for (size_t i = 0; i < std::size(kSectionFiles); i++) {
        files[i] = open_section(kSectionFiles[i].path);
        if (!files[i]) return log_and_return(false, "%s", kSectionFiles[i].not_opened);
    }
    quill::read_reg_table(input.get(), [&](quill::RegTableSection section, string_view line) {
        if (section == quill::kCertificateSection && !is_plain_pem(line)) sections.plain_pem = false;
        if (section == quill::kVersionSection) copy_version(sections.version, line);
        for (const char c : line) {
            if (c != '\r' || section != quill::kTableSection) putc_unlocked(c, files[section].get());
        }
    });
    if (ferror(input.get())) return log_and_return(false, kNotOpened);
    // This check is needed: a section that a full file system cut short would be validated as if it were complete.
    return std::all_of(std::begin(files), std::end(files),
                       [](const Stream &file) { return fflush(file.get()) == 0 && !ferror(file.get()); });
}

// Writes the signed data: the table without its last newline, and the version.
int write_signed_data() {
    const Text table = read_text(paths::kTableContent);
    const Text version = table ? read_text(paths::kTableVersion) : Text();
    string_view lines = table ? table.get() : "";
    const string_view last_line = version ? version.get() : "";
    // The last byte of the table is not signed. It must be the newline, otherwise a forger could choose it. Without a
    // version, callers would use the version of the previous file.
    if (!lines.ends_with('\n') || last_line.empty()) {
        return log_and_return(QUILL_REG_TABLE_NOT_READ, "Failed to read the parsed file");
    }
    lines.remove_suffix(1);
    const Text data = quill::new_zeroed<char>(lines.size() + last_line.size() + 1);
    if (!data) return log_and_return(QUILL_REG_TABLE_NO_MEMORY, "Malloc Failed");
    std::copy(last_line.begin(), last_line.end(), std::copy(lines.begin(), lines.end(), data.get()));
    if (write_temporary(paths::kSignedData, {data.get(), lines.size() + last_line.size()})) return 0;
    return log_and_return(QUILL_REG_TABLE_NOT_WRITTEN, "Failed to write the data");
}

bool collect_authorities() {
    if (!write_certificate(paths::kCheckOutput, quill::kParentCertificate)) {
        return log_and_return(false, "Could not write Parent CA's certificate in file %s for conversion.\n",
                              paths::kCheckOutput);
    }
    if (!run_into(paths::kAuthorities, "openssl x509 -inform DER -in %s > %s", paths::kCheckOutput)) {
        return log_and_return(false, "Failed to convert Parent CA's certificate in PEM format.");
    }
    for (uint32_t level = 1; level <= Top_CA_Certs_count; level++) {
        if (level > 1) return log_and_return(false, "Unexpected number of Top-level CA Certificates.\n");
        if (!write_certificate(paths::kCheckOutput, quill::kTopCertificate)) {
            // There are two blanks after "in". Compatibility: readers of these messages search for them.
            return log_and_return(
                false, "Could not write Upper-level (level %d) CA's certificate in  file %s for conversion.\n",
                static_cast<int>(level), paths::kCheckOutput);
        }
        CommandLine line;
        if (!line.format("openssl x509 -inform DER -in %s >> %s", paths::kCheckOutput, paths::kAuthorities) ||
            !run(line)) {
            return log_and_return(false,
                                  "Failed to convert Upper-level (level %d) Parent CA's certificate in PEM format.",
                                  static_cast<int>(level));
        }
    }
    return true;
}

bool is_certificate_valid() {
    if (!run_into(paths::kSignerPem, "openssl x509 -inform DER -in %s > %s", paths::kSignerDer)) {
        return log_and_return(false, "Failed to convert certificate in PEM format.");
    }
    if (!collect_authorities()) return false;
    if (!run_into(paths::kCheckOutput, "openssl verify -CAfile %s %s > %s", paths::kAuthorities, paths::kSignerPem)) {
        return log_and_return(false, "Failed to verify received certificate.");
    }
    const Text answer = read_file(paths::kCheckOutput);
    if (!answer) return log_and_return(false, "Certificate verification result file could not be read.");
    char valid[64];
    snprintf(valid, sizeof valid, "%s: OK", paths::kSignerPem);
    if (!string_view(answer.get()).starts_with(valid)) {
        return log_and_return(false, "Certificate verification failed. Result is %s. Expected output is = '%s'\n",
                              answer.get(), valid);
    }
    return log_and_return(true, "\n Certificate validated \n");
}

bool extract_key() {
    if (!run_into(paths::kSignerKey, "openssl x509 -pubkey -noout -inform DER -in %s > %s", paths::kSignerDer)) {
        return log_and_return(false, "Failed to extract public key from certificate.");
    }
    const Text key = read_file(paths::kSignerKey);
    if (!key) {
        return log_and_return(false,
                              "Error reading output file of OpenSSL command to extract public key from certificate");
    }
    if (string_view(key.get()).starts_with("-----BEGIN PUBLIC KEY-----")) return true;
    return log_and_return(false, "Failed to extract public key from certificate. Result is %s.\n", key.get());
}

bool is_signature_valid() {
    if (!run_into(paths::kCheckOutput, "openssl dgst -sha1 -verify %s -signature %s %s > %s", paths::kSignerKey,
                  paths::kSignatureBytes, paths::kSignedData)) {
        return log_and_return(false, "Signature verification command failed.");
    }
    const Text answer = read_file(paths::kCheckOutput);
    if (!answer) return log_and_return(false, "Error reading output file of OpenSSL command to signature");
    if (string_view(answer.get()).starts_with("Verified OK")) return log_and_return(true, "\n Signature verified");
    return log_and_return(false, "Verification of received signature failed. Result is %s.\n", answer.get());
}

bool is_signed() {
    static constexpr const char *kFiles[] = {paths::kCheckOutput, paths::kSignerKey, paths::kAuthorities,
                                             paths::kSignerPem};
    const bool valid = is_certificate_valid() && extract_key() && is_signature_valid();
    remove_all(kFiles);
    return valid;
}

bool unpack(const char *path) {
    // gunzip would treat a name that begins with a dash as options. A name that is cut off here is also too long for
    // the line.
    char name[512];
    snprintf(name, sizeof name, "%s%s", *path == '-' ? "./" : "", path);
    return run_into(paths::kUnpacked, "gunzip -c %s > %s", name);
}

bool replace_table(const char *path, const char *text) {
    const Descriptor file = quill::open_to_replace(path);
    if (!file) return false;
    if (quill::write_all(file.get(), text)) return true;
    // Empties the file, because programs would take half a table for a whole one.
    (void)!ftruncate(file.get(), 0);
    return false;
}

int validate(const char *path, Sections &sections) {
    static constexpr const char *kFiles[] = {paths::kTableSignature, paths::kSignatureBytes, paths::kTableCertificate,
                                             paths::kSignerDer,      paths::kTableContent,   paths::kTableVersion,
                                             paths::kSignedData};
    const NoCancellation no_cancellation;
    TemporaryFiles temporary(kFiles);
    if (!split(path, temporary, sections))
        return log_and_return(QUILL_REG_TABLE_NOT_SPLIT, "\n Failed to parse the file");
    if (!sections.plain_pem) return log_and_return(QUILL_REG_TABLE_NO_CERTIFICATE, kNotConverted);
    if (!run_into(paths::kSignatureBytes, "openssl enc -base64 -d -in %s > %s", paths::kTableSignature)) {
        return log_and_return(QUILL_REG_TABLE_NO_SIGNATURE, "Failed to decode the file");
    }
    if (!run_into(paths::kSignerDer, "openssl x509 -in %s -inform PEM -out %s -outform DER",
                  paths::kTableCertificate)) {
        return log_and_return(QUILL_REG_TABLE_NO_CERTIFICATE, kNotConverted);
    }
    if (const int result = write_signed_data(); result != 0) return result;
    if (is_signed()) return QUILL_REG_TABLE_VALID;
    return log_and_return(QUILL_REG_TABLE_NOT_VALID, "Couldn't verify certificate and/or signature \n");
}

// State: the version that callers get. It is not protected by a lock.
constinit Version last_version = "";

}  // namespace

int parse_validate_encrypted_signed_reg_tbl_file(const char *path) {
    Sections sections;
    return validate(path, sections);
}

int get_reg_tbl_file_ver(const char *path, char **version) {
    const NoCancellation no_cancellation;
    const Stream file(path ? fopen(path, "re") : nullptr);
    if (!file) return log_and_return(-1, kNotOpened);
    // If the file has no version, the earlier text stays. Compatibility: callers then get the version of the previous
    // file.
    quill::read_reg_table(file.get(), [](quill::RegTableSection section, string_view line) {
        if (section == quill::kVersionSection) copy_version(last_version, line);
    });
    if (ferror(file.get())) return log_and_return(-1, kNotOpened);
    *version = last_version;
    return 0;
}

int parse_validate_get_reg_tbl_file_ver(const char *path, char **version) {
    const NoCancellation no_cancellation;
    Sections sections;
    if (validate(path, sections) != QUILL_REG_TABLE_VALID)
        return log_and_return(QUILL_REG_TABLE_NOT_SPLIT, "Error encountered while parsing or validating the file");
    // The version is not read from the file again: another file may have taken its place.
    copy_version(last_version, sections.version);
    *version = last_version;
    return 0;
}

int decrypt_decompress_reg_tbl_file(const char *in_path, const char *out_path) {
    static constexpr const char *kFiles[] = {paths::kUnpacked, paths::kTableContent, paths::kTableSignature,
                                             paths::kTableCertificate, paths::kTableVersion};
    if (!in_path || !out_path) return QUILL_REG_TABLE_NULL_PATH;
    const NoCancellation no_cancellation;
    TemporaryFiles temporary(kFiles);
    // The sections are not used. Here the split is only a check of the file.
    Sections sections;
    if (!split(in_path, temporary, sections))
        return log_and_return(QUILL_REG_TABLE_NOT_SPLIT, "\n Failed to parse the file");
    if (!unpack(in_path)) return log_and_return(QUILL_REG_TABLE_NOT_UNPACKED, "Unable to decompress the file");
    const Text table = read_file(paths::kUnpacked);
    if (!table) return log_and_return(QUILL_REG_TABLE_NOT_READ, "Error encountered while trying to read file \n");
    if (replace_table(out_path, table.get())) return 0;
    return log_and_return(QUILL_REG_TABLE_NOT_WRITTEN, "Error encountered while trying to write file \n");
}
