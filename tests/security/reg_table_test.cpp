#include <gtest/gtest.h>
#include <quill/reg_table.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/device_test.h"
#include "support/failing_alloc.h"
#include "support/private_device.h"
#include "support/random.h"

// --- what comes before each command, and in place of the n-th from now on; the program is linked with --wrap for it

namespace {
std::function<void()> before_command;
int replaced_command;
std::function<int(const char *command)> replacement;
}  // namespace

extern "C" {
int __real_system(const char *command);
int __wrap_system(const char *command) {
    if (before_command) before_command();
    if (replaced_command == 0 || --replaced_command > 0) return __real_system(command);
    return replacement(command);
}
}

namespace {

namespace fs = std::filesystem;
using quill::test::read_file;
using quill::test::write_file;
using std::string;
using Messages = std::vector<string>;

const string kFolder = "/quill/reg_table/", kDone = "/tmp/signed";
const string kCertificateOk = "\n Certificate validated \n", kSignatureOk = "\n Signature verified";
const string kNotValid = "Couldn't verify certificate and/or signature \n", kNotSplit = "\n Failed to parse the file";
const string kNotRead = "Failed to read the parsed file";

void sh(const string &command) { ASSERT_EQ(__real_system(command.c_str()), 0) << command; }

string section(const string &name, const string &content) {
    return "-----BEGIN " + name + "-----\n" + content + "-----END " + name + "-----\n";
}

// From now on files hold so many bytes, as if the file system were full; without end by default.
void limit_files(rlim_t bytes = RLIM_INFINITY) {
    const rlimit limit{bytes, RLIM_INFINITY};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
}

struct Signed {
    string certificate, signature, table, version;  // the first in PEM, the second in base64

    string text() const {
        return certificate + section("SIGNATURE", signature) + section("FILE", table) + section("VERSION", version);
    }
};

class RegTable : public quill::test::DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        if (IsSkipped()) return;
        issue("signer", "-CA " AUTHORITY "/parent.der -CAform DER -CAkey " AUTHORITY_KEYS "/parent.key -days 30");
        sign();
    }

    static void issue(const string &name, const string &by) {
        const string file = "/tmp/" + name;
        sh("cd /tmp && { [ -s key ] || openssl genrsa -out key 2048; } 2>/dev/null && "
           "openssl req -new -key key -subj /CN=" +
           name + " -out " + file + ".csr && openssl x509 -req -in " + file + ".csr -set_serial 7 " + by + " -out " +
           file + " 2>/dev/null");
    }
    // Signs what is in signed_ anew.
    void sign(const string &certificate = "/tmp/signer") {
        write_file("/tmp/data", signed_.table.substr(0, signed_.table.size() - 1) + signed_.version);
        sh("cd /tmp && openssl dgst -sha1 -sign key -out signature data && openssl enc -base64 -in signature -out b64");
        signed_.certificate = read_file(certificate);
        signed_.signature = read_file("/tmp/b64");
    }

    template <typename Call>
    static void expect(int result, const Messages &messages, Call call) {
        string printed;
        for (const string &message : messages) printed += " ^[msg " + message + "]";
        testing::internal::CaptureStdout();
        const int got = call();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
        EXPECT_EQ(got, result);
        EXPECT_TRUE(fs::is_empty(kFolder)) << "a temporary file is left";
        if (!messages.empty()) {
            EXPECT_EQ(log_buf, messages.back().substr(0, 255));
        }
    }
    static void expect_validation(int result, const Messages &messages) {
        expect(result, messages, [] { return parse_validate_encrypted_signed_reg_tbl_file(kDone.c_str()); });
    }
    static void expect_unpacking(int result, const Messages &messages, const string &out = "/tmp/out") {
        expect(result, messages, [&] { return decrypt_decompress_reg_tbl_file("/tmp/signed.gz", out.c_str()); });
    }
    static bool is_accepted(const string &file) {
        write_file(kDone, file);
        testing::internal::CaptureStdout();
        const bool accepted = parse_validate_encrypted_signed_reg_tbl_file(kDone.c_str()) == 0;
        testing::internal::GetCapturedStdout();
        EXPECT_TRUE(fs::is_empty(kFolder));
        return accepted;
    }
    static string version() {
        char *text = nullptr;
        EXPECT_EQ(get_reg_tbl_file_ver(kDone.c_str(), &text), 0);
        return text;
    }

    Signed signed_{"", "", "US 1-11 30\nDE 1-13 20\nJP 1-14 20\n", "1.0.7\n"};
};

TEST_F(RegTable, AuthorityIsOfTheSizeThatTheSystemsHas) {
    const auto size = [](const uint8_t *der) { return der[2] * 256 + der[3] + 4; };
    EXPECT_EQ(size(Parent_CA_Cert), 1304);
    EXPECT_EQ(size(Top_CA_Cert_1), 1009);
    EXPECT_EQ(Top_CA_Certs_count, 1u);
    EXPECT_EQ(memcmp(Parent_CA_Cert, read_file(AUTHORITY "/parent.der").data(), 1304), 0);
    EXPECT_EQ(memcmp(Top_CA_Cert_1, read_file(AUTHORITY "/top.der").data(), 1009), 0);
}

TEST_F(RegTable, AcceptsEveryFormOfTheSameContent) {
    const string signature = section("SIGNATURE", signed_.signature), table = section("FILE", signed_.table),
                 version_section = section("VERSION", signed_.version);
    string spread;
    for (const char c : signed_.text()) spread += c == '\n' ? "\n\n\n" : string(1, c);
    const string files[] = {
        signed_.text(),
        version_section + table + signature + signed_.certificate,
        "before\n" + signed_.certificate + "between\n" + signature + table + version_section + "behind",
        signed_.certificate + signature + section("FILE", "US 1-\r11 30\r\nDE 1-13 20\n") + "x\n" +
            section("FILE----- goes on", "JP 1-14 20\r\n") + version_section,
        spread,
        // Overlapping: the certificate's markers end no other section, and are content of none.
        "-----BEGIN FILE-----\n" + signed_.table + "-----BEGIN VERSION----- here\n-----END FILE-----\n" +
            signed_.version + "-----END VERSION-----\n" + signature + signed_.certificate,
    };
    for (const string &file : files) {
        write_file(kDone, file);
        expect_validation(0, {kCertificateOk, kSignatureOk});
        EXPECT_EQ(version(), "1.0.7\n") << file;
    }
    // Carriage returns of the version are signed, and so are lines of any length, that of its last piece being the
    // version.
    signed_.table = string(1200, 'A') + "\n";
    signed_.version = "old\n" + string(399, 'B') + string(200, 'C') + "\r\n";
    sign();
    write_file(kDone, signed_.text());
    char *text = nullptr;
    expect(0, {kCertificateOk, kSignatureOk},
           [&] { return parse_validate_get_reg_tbl_file_ver(kDone.c_str(), &text); });
    EXPECT_EQ(text, string(127, 'C'));
}

TEST_F(RegTable, VersionIsTheLastLine) {
    const auto versioned = [&](const string &content) {
        write_file(kDone, content);
        return version();
    };
    EXPECT_EQ(versioned(""), "");
    EXPECT_EQ(versioned(section("VERSION", "1\n\n2\r\n\n") + "3\n"), "2\r\n");
    EXPECT_EQ(versioned(section("FILE", "4\n")), "2\r\n");  // of the file before
    EXPECT_EQ(versioned(section("VERSION", "5\n" + section("FILE", "") + section("CERTIFICATE", ""))), "5\n");
    EXPECT_EQ(versioned("-----BEGIN VERSION-----\n6"), "6");
    EXPECT_EQ(versioned(section("VERSION", string("7\0x\n", 4))), "7");
    EXPECT_EQ(versioned(section("VERSION", string(126, 'a') + "\n")), string(126, 'a') + "\n");
    EXPECT_EQ(versioned(section("VERSION", string(127, 'b') + "\n")), string(127, 'b'));
    char *text = nullptr;
    expect(-1, {"\n Unable to open the data file"}, [&] { return get_reg_tbl_file_ver("/tmp/none", &text); });
    expect(-1, {"\n Unable to open the data file"}, [&] { return get_reg_tbl_file_ver(nullptr, &text); });
    // One that cannot be read has no version, and not that of the file before.
    expect(-1, {"\n Unable to open the data file"}, [&] { return get_reg_tbl_file_ver("/tmp", &text); });
    EXPECT_EQ(text, nullptr);
}

// What a reader without markers of its own sees of a file: table and version, put together from all their sections.
std::pair<string, string> content_of(const string &file) {
    string table, version;
    bool in_table = false, in_version = false;
    std::istringstream lines(file);
    for (string line; std::getline(lines, line);) {
        if (line.starts_with("-----BEGIN FILE-----")) in_table = true;
        if (line.starts_with("-----END FILE-----")) in_table = false;
        if (line.starts_with("-----BEGIN VERSION-----")) in_version = true;
        if (line.starts_with("-----END VERSION-----")) in_version = false;
        if (line.empty() || line.starts_with("-----BEGIN") || line.starts_with("-----END")) continue;
        if (in_version) version = line;
        std::erase(line, '\r');
        if (in_table) table += line + "\n";
    }
    return {table, version};
}

TEST_F(RegTable, NothingAlteredIsAccepted) {
    quill::test::Random random(20);
    int tried = 0;
    const auto expect_refused = [&](const Signed &file, const string &what) {
        EXPECT_FALSE(is_accepted(file.text())) << what;
        tried++;
    };
    const auto flipped = [&](string bytes, size_t at) {
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << random.below(8)));
        return bytes;
    };
    sh("cd /tmp && openssl x509 -in signer -outform DER -out der");
    const string der = read_file("/tmp/der"), signature = read_file("/tmp/signature");
    const auto base64 = [](const string &bytes) {
        write_file("/tmp/bytes", bytes);
        sh("openssl enc -base64 -in /tmp/bytes -out /tmp/b64");
        return read_file("/tmp/b64");
    };
    for (size_t at = 0; at < der.size(); at += der.size() / 80) {
        Signed file = signed_;
        file.certificate = section("CERTIFICATE", base64(flipped(der, at)));
        expect_refused(file, "certificate, byte " + std::to_string(at));
    }
    for (size_t at = 0; at < signature.size(); at += 8) {
        Signed file = signed_;
        file.signature = base64(flipped(signature, at));
        expect_refused(file, "signature, byte " + std::to_string(at));
    }
    for (size_t at = 0; at < signed_.table.size() + signed_.version.size(); at++) {
        Signed file = signed_;
        string &text = at < file.table.size() ? file.table : file.version;
        const size_t within = at < file.table.size() ? at : at - file.table.size();
        text[within] = static_cast<char>(text[within] ^ 1);
        expect_refused(file, "table and version, byte " + std::to_string(at));
        text.erase(within, 1);
        expect_refused(file, "table and version, without byte " + std::to_string(at));
    }
    // Lines put together from two by a NUL, sections that are missing or another file's, a table that is empty.
    const string nul(1, '\0');
    Signed other = signed_;
    other.version = "1.0.8\n";
    for (const auto &[table, version_line] :
         {std::pair(signed_.table, "1.0" + nul + "\n.7\n"),
          std::pair(signed_.table + nul + "FR 1-13 36\n", signed_.version), std::pair(string(), signed_.version),
          std::pair(signed_.table, string()), std::pair(signed_.table + signed_.table, signed_.version),
          // The piece behind 399 bytes is a marker: the table ends without a newline.
          std::pair(string(399, 'A') + "-----END FILE-----\n", signed_.version)}) {
        expect_refused({signed_.certificate, signed_.signature, table, version_line}, version_line);
    }
    expect_refused({"", signed_.signature, signed_.table, signed_.version}, "no certificate");
    expect_refused({signed_.certificate, "", signed_.table, signed_.version}, "no signature");
    expect_refused({signed_.certificate, signed_.signature.substr(0, 65), signed_.table, signed_.version},
                   "half of one");
    // A byte that is not signed, at the end of the file.
    EXPECT_FALSE(is_accepted(signed_.certificate + section("SIGNATURE", signed_.signature) +
                             section("VERSION", signed_.version) + "-----BEGIN FILE-----\n" +
                             signed_.table.substr(0, signed_.table.size() - 1) + "9"));
    // The border between table and version is not signed. Wherever it is, both hold what was signed, and neither is
    // empty.
    const string data = signed_.table.substr(0, signed_.table.size() - 1) + signed_.version;
    for (size_t border = 0; border <= data.size(); border++) {
        const Signed file = {signed_.certificate, signed_.signature, data.substr(0, border) + "\n",
                             data.substr(border)};
        const bool movable = border > 0 && border < data.size() && data[border - 1] != '\n' && data[border] != '\n';
        EXPECT_EQ(is_accepted(file.text()), movable) << "border at byte " << border;
    }
    std::cout << tried << " altered files, none accepted\n";
    EXPECT_GE(tried, 200);
    // Anything anywhere: where it is accepted, it has changed neither table nor version.
    int accepted = 0;
    constexpr int kChanges = 60;
    for (int i = 0; i < kChanges; i++) {
        string file = signed_.text();
        const size_t at = random.below(static_cast<uint32_t>(file.size()));
        switch (random.below(4)) {
            case 0: file = flipped(file, at); break;
            case 1: file.erase(at, random.below(40)); break;
            case 2: file.insert(at, 1, "\n\r\0 -"[random.below(5)]); break;
            default: file.insert(at, file.substr(random.below(static_cast<uint32_t>(file.size())), 80));
        }
        if (!is_accepted(file)) continue;
        accepted++;
        EXPECT_EQ(content_of(file), content_of(signed_.text())) << file;
        EXPECT_EQ(version(), signed_.version) << file;
    }
    std::cout << kChanges << " random changes, " << accepted << " of them without effect on table and version\n";
}

TEST_F(RegTable, ValidationsTakeTurns) {
    write_file(kDone, signed_.text());
    const pid_t other = fork();
    if (other == 0) {
        int failed = 0;
        for (int i = 0; i < 12; i++) failed += parse_validate_encrypted_signed_reg_tbl_file(kDone.c_str()) != 0;
        _exit(failed);
    }
    signed_.version = "9.9.9\n";
    write_file("/tmp/forged", signed_.text());
    for (int i = 0; i < 12; i++) EXPECT_EQ(parse_validate_encrypted_signed_reg_tbl_file("/tmp/forged"), -100);
    int failed = -1;
    EXPECT_EQ(waitpid(other, &failed, 0), other);
    EXPECT_EQ(failed, 0);
    EXPECT_TRUE(fs::is_empty(kFolder));
}

TEST_F(RegTable, TrustsItsTwoAuthoritiesOnly) {
    const string refused =
        "Certificate verification failed. Result is . Expected output is = '" + kFolder + "tempCert.pem: OK'\n";
    sh("cd /tmp && openssl req -x509 -newkey rsa:2048 -nodes -keyout other.key -out other -subj /CN=other -days 30 "
       "2>/dev/null && mkdir trusted && cp other trusted/$(openssl x509 -hash -noout -in other).0");
    // Not either what the machine's openssl is told to trust.
    setenv("SSL_CERT_DIR", "/tmp/trusted", 1);
    setenv("SSL_CERT_FILE", "/tmp/other", 1);
    for (const auto &[name, by] :
         {std::pair("foreign", "-CA /tmp/other -CAkey /tmp/other.key -days 30"),
          std::pair("self", "-signkey /tmp/key -days 30"),
          std::pair("expired",
                    "-CA " AUTHORITY "/parent.der -CAform DER -CAkey " AUTHORITY_KEYS "/parent.key -days -1")}) {
        issue(name, by);
        sign(string("/tmp/") + name);
        write_file(kDone, signed_.text());
        expect_validation(-100, {refused, kNotValid});
    }
    // What is left of an interrupted run is no result.
    signed_.certificate = section("CERTIFICATE", "");
    write_file(kDone, signed_.text());
    fs::copy("/tmp/signer", kFolder + "tempCert.pem");
    sh("openssl x509 -in /tmp/signer -outform DER -out " + kFolder + "tempCert.der");
    write_file(kFolder + "tempOutput.bin", kFolder + "tempCert.pem: OK\n");
    expect_validation(-100, {refused, kNotValid});
}

// Each temporary file's name, what is said when it cannot be written, and the result.
struct Trap {
    const char *name;
    Messages messages;
    int result;
};

TEST_F(RegTable, TrapsAreNotSteppedInto) {
    const string authority =
        "Could not write Parent CA's certificate in file " + kFolder + "tempOutput.bin for conversion.\n";
    static constexpr char kLock[] = "tempdecryptedfile.gz";
    const Trap traps[] = {
        {kLock, {"\n Unable to open the parsed cert file", kNotSplit}, -97},
        {"temp_parsed_cert.bin", {"\n Unable to open the parsed cert file", kNotSplit}, -97},
        {"temp_parsed_sign.bin", {"\n Unable to open the parsed sign file", kNotSplit}, -97},
        {"temp_parsed_file.bin", {"\n Unable to open the parsed input file", kNotSplit}, -97},
        {"temp_parsed_version.bin", {"\n Unable to open the parsed version file", kNotSplit}, -97},
        {"tempSignature.bin", {"Failed to decode the file"}, -94},
        {"tempCert.der", {"Failed to convert cert from pem to der"}, -93},
        {"tempdata.bin", {"Failed to write the data"}, -95},
        {"tempCert.pem", {"Failed to convert certificate in PEM format.", kNotValid}, -100},
        {"tempOutput.bin", {authority, kNotValid}, -100},
        {"tempRootCert.pem", {"Failed to convert Parent CA's certificate in PEM format.", kNotValid}, -100},
        {"tempInput.bin", {kCertificateOk, "Failed to extract public key from certificate.", kNotValid}, -100},
        {"tempdecompressedfiled.bin", {"Unable to decompress the file"}, -98},
    };
    write_file(kDone, signed_.text());
    sh("gzip -k " + kDone);
    write_file("/tmp/victim", "precious");
    for (const Trap &trap : traps) {
        const string path = kFolder + trap.name;
        for (const char *plant : {"ln -s /tmp/victim ", "ln -s /tmp/none ", "mkfifo "}) {
            sh(plant + path);
            trap.result == -98 ? expect_unpacking(trap.result, trap.messages)
                               : expect_validation(trap.result, trap.messages);
        }
        sh("ln /tmp/victim " + path);  // only the name goes
        trap.result == -98 ? expect_unpacking(0, {}) : expect_validation(0, {kCertificateOk, kSignatureOk});
        EXPECT_EQ(read_file("/tmp/victim"), "precious") << trap.name;
        EXPECT_FALSE(fs::exists("/tmp/none")) << trap.name;
    }
    // No other user reads or writes a temporary file: neither with a daemon's umask, nor one that was opened before.
    for (const bool unpacking : {false, true}) {
        std::map<string, FILE *> left;
        std::set<string> seen;
        before_command = [&] {
            for (const auto &[path, file] : left) {
                struct stat found;
                rewind(file), fputs("forged", file), fflush(file);
                if (lstat(path.c_str(), &found) != 0 || read_file(path) == "forged") continue;
                seen.insert(path);
                EXPECT_EQ(found.st_mode, S_IFREG | 0600u) << path;
            }
        };
        for (const mode_t mask : {0u, 0777u}) {
            for (const Trap &trap : traps) {
                const string path = kFolder + trap.name;
                if (trap.name != kLock && unpacking == (trap.result == -98)) left[path] = fopen(path.c_str(), "w");
            }
            const mode_t before = umask(mask);
            unpacking ? expect_unpacking(0, {}) : expect_validation(0, {kCertificateOk, kSignatureOk});
            umask(before);
            EXPECT_EQ(seen.size(), left.size());
            for (const auto &[path, file] : left) fclose(file);
        }
        before_command = nullptr;
    }
}

TEST_F(RegTable, EachFailureHasItsMessageAndCode) {
    expect(-97, {kNotSplit}, [] { return parse_validate_encrypted_signed_reg_tbl_file(nullptr); });
    expect_validation(-97, {"\n Unable to open the data file", kNotSplit});
    char *text = nullptr;
    expect(-97,
           {"\n Unable to open the data file", kNotSplit, "Error encountered while parsing or validating the file"},
           [&] { return parse_validate_get_reg_tbl_file_ver(kDone.c_str(), &text); });
    EXPECT_EQ(text, nullptr);
    write_file(kDone, Signed{signed_.certificate, signed_.signature, "", "1.0.7\n"}.text());
    expect_validation(-96, {kNotRead});
    // Nothing in a certificate has openssl ask for a pass phrase: no command sees it.
    before_command = [] { ADD_FAILURE() << "a command is run"; };
    for (const string &line : {string("Proc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC,00\n\n"), string("A:\n"),
                               string(399, 'A') + "-----END CERTIFICATE----- Proc-Type: 4\n", string("\0\n", 2)}) {
        write_file(kDone, Signed{section("CERTIFICATE", line + "MIIB\n"), signed_.signature, "t\n", "1\n"}.text());
        expect_validation(-93, {"Failed to convert cert from pem to der"});
    }
    before_command = nullptr;

    write_file(kDone, signed_.text());
    const rlim_t cut = signed_.certificate.size() - 1;
    expect(-97, {kNotSplit}, [cut] {
        limit_files(cut);
        const int result = parse_validate_encrypted_signed_reg_tbl_file(kDone.c_str());
        limit_files();
        return result;
    });
    const string not_valid =
        "Certificate verification failed. Result is %s. Expected output is = '" + kFolder + "tempCert.pem: OK'\n";
    const auto result_is = [](const string &format, const string &result) {
        return string(format).replace(format.find("%s"), 2, result);
    };
    const string no_key = "Failed to extract public key from certificate. Result is %s.\n";
    const string not_signed = "Verification of received signature failed. Result is %s.\n";
    const auto fails = [](const char *) { return -1; };
    const auto says = [](const string &answer) {
        return [=](const char *command) {
            write_file(string(command).substr(string(command).rfind("> ") + 2), answer);
            return 0;
        };
    };
    const auto removes = [](const string &name) {
        return [=](const char *command) { return __real_system(command) | unlink((kFolder + name).c_str()); };
    };
    const auto plants = [](const char *command) {
        sh(command + string(" && ln -sf /tmp/none ") + kFolder + "tempOutput.bin");
        return 0;
    };
    struct Fault {
        int command;  // which one
        std::function<int(const char *)> replacement;
        Messages messages;
        int result;
    };
    const Messages validated{kCertificateOk};
    const Fault faults[] = {
        {1, fails, {"Failed to decode the file"}, -94},
        {2, fails, {"Failed to convert cert from pem to der"}, -93},
        {2, removes("temp_parsed_version.bin"), {kNotRead}, -96},
        {3, fails, {"Failed to convert certificate in PEM format.", kNotValid}, -100},
        {4, fails, {"Failed to convert Parent CA's certificate in PEM format.", kNotValid}, -100},
        {4,
         plants,
         {"Could not write Upper-level (level 1) CA's certificate in  file " + kFolder +
              "tempOutput.bin for conversion.\n",
          kNotValid},
         -100},
        {5, fails, {"Failed to convert Upper-level (level 1) Parent CA's certificate in PEM format.", kNotValid}, -100},
        {6, fails, {"Failed to verify received certificate.", kNotValid}, -100},
        {6, removes("tempOutput.bin"), {"Certificate verification result file could not be read.", kNotValid}, -100},
        {6, says("tempCert.pem: OK\n"), {result_is(not_valid, "tempCert.pem: OK\n"), kNotValid}, -100},
        {6, says(string(300, 'x')), {result_is(not_valid, string(300, 'x')).substr(0, 255), kNotValid}, -100},
        {6, says("%s%n"), {result_is(not_valid, "%s%n"), kNotValid}, -100},
        {7, fails, {kCertificateOk, "Failed to extract public key from certificate.", kNotValid}, -100},
        {7,
         removes("tempInput.bin"),
         {kCertificateOk, "Error reading output file of OpenSSL command to extract public key from certificate",
          kNotValid},
         -100},
        {7,
         says("-----BEGIN PUBLIC KEY----"),
         {kCertificateOk, result_is(no_key, "-----BEGIN PUBLIC KEY----"), kNotValid},
         -100},
        {8, fails, {kCertificateOk, "Signature verification command failed.", kNotValid}, -100},
        {8,
         removes("tempOutput.bin"),
         {kCertificateOk, "Error reading output file of OpenSSL command to signature", kNotValid},
         -100},
        {8, says("Verified O"), {kCertificateOk, result_is(not_signed, "Verified O"), kNotValid}, -100},
        {8, says(" Verified OK"), {kCertificateOk, result_is(not_signed, " Verified OK"), kNotValid}, -100},
    };
    for (const Fault &fault : faults) {
        SCOPED_TRACE(fault.messages[0] + " at command " + std::to_string(fault.command));
        replaced_command = fault.command;
        replacement = fault.replacement;
        expect_validation(fault.result, fault.messages);
    }

    // Real tools: missing, killed, and one that nobody can wait for.
    const string path = getenv("PATH");
    mkdir("/tmp/bin", 0755);
    setenv("PATH", "/tmp/bin", 1);
    expect_validation(-100, {result_is(not_valid, ""), kNotValid});
    write_file("/tmp/bin/openssl", "#!/bin/sh\n[ $1 != dgst ] || kill -9 $$\nexec /usr/bin/openssl \"$@\"\n");
    chmod("/tmp/bin/openssl", 0755);
    expect_validation(-100, {kCertificateOk, result_is(not_signed, ""), kNotValid});
    setenv("PATH", path.c_str(), 1);
    // One that would ask a person: it has no input, and as a session of its own no terminal.
    write_file("/tmp/bin/openssl",
               "#!/bin/sh\nread -r _ && echo input >>/tmp/asked\n"
               "read -r _ _ _ _ _ session _ </proc/$$/stat\n[ $session = $$ ] || echo terminal >>/tmp/asked\n");
    setenv("PATH", ("/tmp/bin:" + path).c_str(), 1);
    EXPECT_EQ(quill::test::exit_code_of([] {
                  if (!freopen(kDone.c_str(), "r", stdin)) abort();
                  _exit(-parse_validate_encrypted_signed_reg_tbl_file(kDone.c_str()));
              }),
              100);
    EXPECT_FALSE(fs::exists("/tmp/asked")) << read_file("/tmp/asked");
    setenv("PATH", path.c_str(), 1);
    signal(SIGCHLD, SIG_IGN);
    expect_validation(-94, {"Failed to decode the file"});
    signal(SIGCHLD, SIG_DFL);
    expect_validation(0, {kCertificateOk, kSignatureOk});
}

TEST_F(RegTable, MemoryRunsOut) {
    write_file(kDone, signed_.text());
    const string no_buffer = "\n Unable to allocate buffer";
    const Trap failures[] = {
        {"table", {no_buffer, kNotRead}, -96},
        {"version", {no_buffer, kNotRead}, -96},
        {"signed data", {"Malloc Failed"}, -92},
        {"verify", {no_buffer, "Certificate verification result file could not be read.", kNotValid}, -100},
        {"key",
         {kCertificateOk, no_buffer,
          "Error reading output file of OpenSSL command to extract public key from certificate", kNotValid},
         -100},
        {"dgst",
         {kCertificateOk, no_buffer, "Error reading output file of OpenSSL command to signature", kNotValid},
         -100},
    };
    int n = 0;
    for (const Trap &failure : failures) {
        SCOPED_TRACE(failure.name);
        expect(failure.result, failure.messages, [&] {
            const quill::test::NthAllocation failing(++n);
            return parse_validate_encrypted_signed_reg_tbl_file("/tmp/signed");
        });
    }
}

TEST_F(RegTable, Unpacks) {
    write_file(kDone, signed_.text());
    sh("gzip -k " + kDone);
    write_file("/tmp/out", string(5000, 'x'));
    expect_unpacking(0, {});
    EXPECT_EQ(read_file("/tmp/out"), signed_.text());
    mkdir("/tmp/folder", 0755);
    ASSERT_EQ(chdir("/tmp/folder"), 0);
    for (const string name : {"a b.gz", "-f.gz", "a;touch y.gz", "$(touch y).gz", "it's.gz", "\xff.gz", "%s%n.gz"}) {
        fs::rename("/tmp/signed.gz", name);
        expect(0, {}, [&] { return decrypt_decompress_reg_tbl_file(name.c_str(), "/tmp/out"); });
        EXPECT_EQ(read_file("/tmp/out"), signed_.text()) << name;
        fs::rename(name, "/tmp/signed.gz");
    }
    EXPECT_TRUE(fs::is_empty("/tmp/folder"));
    ASSERT_EQ(chdir("/"), 0);

    expect(-90, {}, [] { return decrypt_decompress_reg_tbl_file(nullptr, "/tmp/out"); });
    expect(-90, {}, [] { return decrypt_decompress_reg_tbl_file("/tmp/signed.gz", nullptr); });
    expect(-97, {"\n Unable to open the data file", kNotSplit},
           [] { return decrypt_decompress_reg_tbl_file("/tmp/none.gz", "/tmp/out"); });
    const string command = "gunzip -c  > " + kFolder + "tempdecompressedfiled.bin";
    for (const size_t length : {511 - command.size(), 512 - command.size()}) {
        const string path = string(length - strlen("tmp/signed.gz"), '/') + "tmp/signed.gz";
        const bool fits = length + command.size() < 512;
        expect(fits ? 0 : -98, fits ? Messages{} : Messages{"Unable to decompress the file"},
               [&] { return decrypt_decompress_reg_tbl_file(path.c_str(), "/tmp/out"); });
    }
    const string not_written = "Error encountered while trying to write file \n";
    expect_unpacking(-95, {not_written}, "/none/out");
    expect_unpacking(-95, {not_written}, "/dev/full");
    // Only what gunzip has written counts.
    const string path = getenv("PATH");
    setenv("PATH", "/tmp", 1);
    expect_unpacking(0, {});
    EXPECT_EQ(read_file("/tmp/out"), "");
    setenv("PATH", path.c_str(), 1);
    const auto replace_gunzip = [](std::function<int(const char *)> by) {
        replaced_command = 1;
        replacement = by;
    };
    replace_gunzip([](const char *) { return -1; });
    expect_unpacking(-98, {"Unable to decompress the file"});
    replace_gunzip([](const char *) { return errno = EAGAIN, 127 << 8; });  // no process to be had, as glibc says it
    expect_unpacking(-98, {"Unable to decompress the file"});
    replace_gunzip([](const char *) { return unlink((kFolder + "tempdecompressedfiled.bin").c_str()); });
    expect_unpacking(-96, {"Error encountered while trying to read file \n"});
    replace_gunzip([](const char *) {
        write_file(kFolder + "tempdecompressedfiled.bin", string("text\0more", 9));
        return 0;
    });
    expect_unpacking(0, {});
    EXPECT_EQ(read_file("/tmp/out"), "text");
    // Half a table is none.
    replace_gunzip([](const char *shell_command) {
        const int result = __real_system(shell_command);
        limit_files(100);
        return result;
    });
    expect_unpacking(-95, {not_written});
    EXPECT_EQ(read_file("/tmp/out"), "");
    limit_files();
}

}  // namespace
