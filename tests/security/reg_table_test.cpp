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
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/case_file.h"
#include "support/child_process.h"
#include "support/device_test.h"
#include "support/failing_alloc.h"
#include "support/private_device.h"
#include "support/random.h"

// --- runs a function before each command, and another one in place of the n-th command; the program is linked with
// --wrap=system

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

namespace quill::test {
namespace {

namespace fs = std::filesystem;
using std::string;

const string kFolder = "/quill/reg_table/", kDone = "/tmp/signed";
const string kNotValid = " ^[msg Couldn't verify certificate and/or signature \n]";
const string kAccepted = "0 ^[msg \n Certificate validated \n] ^[msg \n Signature verified]";

void sh(const string &command) { ASSERT_EQ(__real_system(command.c_str()), 0) << command; }

string section(const string &name, const string &content) {
    return "-----BEGIN " + name + "-----\n" + content + "-----END " + name + "-----\n";
}

// Limits the size of files, as on a full file system; no limit by default.
void limit_files(rlim_t bytes = RLIM_INFINITY) {
    const rlimit limit{bytes, RLIM_INFINITY};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
}

struct Signed {
    string certificate, signature, table, version;  // the certificate in PEM, the signature in base64

    string text() const {
        return certificate + section("SIGNATURE", signature) + section("FILE", table) + section("VERSION", version);
    }
};
const Signed kUnsigned{"", "", "US 1-11 30\nDE 1-13 20\nJP 1-14 20\n", "1.0.7\n"};
Signed table;

void issue(const string &name, const string &by) {
    const string file = "/tmp/" + name;
    sh("cd /tmp && { [ -s key ] || openssl genrsa -out key 2048; } 2>/dev/null && openssl req -new -key key -subj "
       "/CN=" +
       name + " -out " + file + ".csr && openssl x509 -req -in " + file + ".csr -set_serial 7 " + by + " -out " + file +
       " 2>/dev/null");
}

string base64(const string &bytes) {
    write_file("/tmp/bytes", bytes);
    sh("openssl enc -base64 -in /tmp/bytes -out /tmp/b64");
    return read_file("/tmp/b64");
}

// Signs the table and writes it to its file.
void sign(const string &certificate = "/tmp/signer") {
    write_file("/tmp/data", table.table.substr(0, table.table.size() - 1) + table.version);
    sh("cd /tmp && openssl dgst -sha1 -sign key -out signature data");
    table.signature = base64(read_file("/tmp/signature"));
    table.certificate = read_file(certificate);
    write_file(kDone, table.text());
}

class RegTable : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        if (IsSkipped()) return;
        issue("signer", "-CA " AUTHORITY "/parent.der -CAform DER -CAkey " AUTHORITY_KEYS "/parent.key -days 30");
        table = kUnsigned;
        sign();
        sh("gzip -k " + kDone);
    }
};

// Returns the code and the messages. log_buf must hold the last message.
template <typename Call>
string outcome(Call call) {
    testing::internal::CaptureStdout();
    const string code = std::to_string(call()), printed = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(fs::is_empty(kFolder)) << "a temporary file is left";
    if (const size_t last = printed.rfind(" ^[msg "); last != string::npos) {
        EXPECT_EQ(log_buf, printed.substr(last + 7, std::min<size_t>(printed.size() - last - 8, 255)));
    }
    return code + printed;
}

string validation() {
    return outcome([] { return parse_validate_encrypted_signed_reg_tbl_file(kDone.c_str()); });
}
string unpack(const char *from, const char *to) {
    return outcome([=] { return decrypt_decompress_reg_tbl_file(from, to); });
}
string unpacking() { return unpack("/tmp/signed.gz", "/tmp/out"); }

string version_at(const char *path) {
    char *text = nullptr;
    const string result = outcome([&] { return get_reg_tbl_file_ver(path, &text); });
    return text ? result + " " + text : result;
}

string file_of(string text) {
    const std::pair<string, string> parts[] = {{"%C", table.certificate},
                                               {"%S", section("SIGNATURE", table.signature)},
                                               {"%T", section("FILE", table.table)},
                                               {"%V", section("VERSION", table.version)},
                                               {"%0", string(1, '\0')},
                                               {"{/", "-----END "},
                                               {"{", "-----BEGIN "},
                                               {"}", "-----"}};
    for (const auto &[sign, part] : parts)
        for (size_t at = 0; (at = text.find(sign, at)) != string::npos; at += part.size())
            text.replace(at, sign.size(), part);
    return text;
}

string version_of(const char *text) {
    write_file(kDone, file_of(text));
    return version_at(kDone.c_str());
}

string validate(const char *text) {
    write_file(kDone, file_of(text));
    const string result = validation();
    return result[0] == '0' ? result + version_at(kDone.c_str()).substr(1) : result;
}

int is_accepted(const string &file) {
    write_file(kDone, file);
    return validation() == kAccepted;
}
int accepted(const char *text) { return is_accepted(file_of(text)); }

string without_commands(const char *text) {
    before_command = [] { ADD_FAILURE() << "a command is run"; };
    const string result = validate(text);
    before_command = nullptr;
    return result;
}

// Returns the function that replaces a command: "fails", "says TEXT", "removes FILE" after the command…
std::function<int(const char *)> stand_in(const string &what) {
    const string rest = what.substr(std::min(what.find(' '), what.size() - 1) + 1);
    if (what == "fails") return [](const char *) { return -1; };
    if (what == "has no process") return [](const char *) { return errno = EAGAIN, 127 << 8; };  // glibc's result
    return [=](const char *command) {
        if (what.starts_with("says ")) {
            write_file(string(command).substr(string(command).rfind("> ") + 2), file_of(rest));
            return 0;
        }
        const int result = __real_system(command);
        if (what.starts_with("removes ")) unlink((kFolder + rest).c_str());
        if (what.starts_with("plants ")) sh("ln -sf /tmp/none " + kFolder + rest);
        if (what == "fills the disk") limit_files(100);
        return result;
    };
}

string fault(int command, const char *what) {
    replaced_command = command;
    replacement = stand_in(what);
    write_file(kDone, table.text());
    return validation();
}

string gunzip(const char *what) {
    replaced_command = 1;
    replacement = stand_in(what);
    write_file("/tmp/out", string(5000, 'x'));
    const string result = unpacking();
    limit_files();
    return result.starts_with("0") || result.starts_with("-95") ? result + " " + read_file("/tmp/out") : result;
}

// Links and a pipe in place of a temporary file must all give the same result. If a file has a second name there (a
// hard link), only that name is removed.
string trap(const char *name) {
    const bool unpacks = string(name) == "tempdecompressedfiled.bin";
    const string path = kFolder + name;
    write_file(kDone, table.text());
    write_file("/tmp/victim", "precious");
    std::set<string> outcomes;
    for (const char *plant : {"ln -s /tmp/victim ", "ln -s /tmp/none ", "mkfifo "}) {
        sh(plant + path);
        outcomes.insert(unpacks ? unpacking() : validation());
    }
    sh("ln /tmp/victim " + path);
    EXPECT_EQ(unpacks ? unpacking() : validation(), unpacks ? "0" : kAccepted);
    EXPECT_EQ(read_file("/tmp/victim"), "precious");
    EXPECT_FALSE(fs::exists("/tmp/none"));
    EXPECT_EQ(outcomes.size(), 1u);
    return *outcomes.begin();
}

string out_of_memory(int n) {
    write_file(kDone, table.text());
    return outcome([=] {
        const NthAllocation failing(n);
        return parse_validate_encrypted_signed_reg_tbl_file("/tmp/signed");
    });
}

TEST_F(RegTable, Cases) {
    expect_cases("security/reg_table.cases",
                 QUILL_CASE_FUNCTIONS(validate, accepted, version_of, version_at, trap, without_commands, fault,
                                      out_of_memory, unpack, gunzip));
}

TEST_F(RegTable, AuthorityIsOfTheSizeThatTheSystemsHas) {
    const auto size = [](const uint8_t *der) { return der[2] * 256 + der[3] + 4; };
    EXPECT_EQ(size(Parent_CA_Cert), 1304);
    EXPECT_EQ(size(Top_CA_Cert_1), 1009);
    EXPECT_EQ(Top_CA_Certs_count, 1u);
    EXPECT_EQ(memcmp(Parent_CA_Cert, read_file(AUTHORITY "/parent.der").data(), 1304), 0);
    EXPECT_EQ(memcmp(Top_CA_Cert_1, read_file(AUTHORITY "/top.der").data(), 1009), 0);
}

TEST_F(RegTable, LongLines) {
    EXPECT_EQ(fault(6, ("says " + string(300, 'x')).c_str()),
              "-100 ^[msg " + ("Certificate verification failed. Result is " + string(300, 'x')).substr(0, 255) + "]" +
                  kNotValid);
    // Carriage returns of the version are signed, and so are lines of any length. The last piece of a long line is the
    // version.
    table.table = string(1200, 'A') + "\n";
    table.version = "old\n" + string(399, 'B') + string(200, 'C') + "\r\n";
    sign();
    char *text = nullptr;
    EXPECT_EQ(outcome([&] { return parse_validate_get_reg_tbl_file_ver(kDone.c_str(), &text); }), kAccepted);
    EXPECT_EQ(text, string(127, 'C'));
    // The piece after 399 bytes is a marker, so the table ends without a newline.
    table.table = string(399, 'A') + "-----END FILE-----\n";
    EXPECT_FALSE(is_accepted(table.text()));
    for (const size_t length : {126u, 127u}) {
        const string last = string(length, 'a') + "\n";
        EXPECT_EQ(version_of(section("VERSION", last).c_str()), "0 " + last.substr(0, 127));
    }
    const string file_too_long = validate(
        ("{CERTIFICATE}\n" + string(399, 'A') + "{/CERTIFICATE} Proc-Type: 4\n\nMIIB\n{/CERTIFICATE}\n%S%T%V").c_str());
    EXPECT_EQ(file_too_long, "-93 ^[msg Failed to convert cert from pem to der]");
}

TEST_F(RegTable, NothingAlteredIsAccepted) {
    Random random(20);
    const auto flipped = [&](string bytes, size_t at) {
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << random.below(8)));
        return base64(bytes);
    };
    sh("cd /tmp && openssl x509 -in signer -outform DER -out der");
    const string der = read_file("/tmp/der"), signature = read_file("/tmp/signature");
    const Signed original = table;
    const auto expect_refused = [&](string Signed::*part, const string &altered) {
        Signed file = original;
        file.*part = altered;
        EXPECT_FALSE(is_accepted(file.text())) << altered;
    };
    for (size_t at = 0; at < der.size(); at += der.size() / 40)
        expect_refused(&Signed::certificate, section("CERTIFICATE", flipped(der, at)));
    for (size_t at = 0; at < signature.size(); at += 8) expect_refused(&Signed::signature, flipped(signature, at));
    expect_refused(&Signed::signature, original.signature.substr(0, 65));
    for (string Signed::*part : {&Signed::table, &Signed::version}) {
        for (size_t at = 0; at < (original.*part).size(); at++) {
            string text = original.*part;
            text[at] = static_cast<char>(text[at] ^ 1);
            expect_refused(part, text);
            expect_refused(part, text.erase(at, 1));
        }
    }
    // The border between table and version is not signed. At every border, both parts together are what was signed, and
    // neither is empty.
    const string data = original.table.substr(0, original.table.size() - 1) + original.version;
    for (size_t border = 0; border <= data.size(); border++) {
        const Signed file = {original.certificate, original.signature, data.substr(0, border) + "\n",
                             data.substr(border)};
        const bool movable = border > 0 && border < data.size() && data[border - 1] != '\n' && data[border] != '\n';
        EXPECT_EQ(is_accepted(file.text()), movable) << "border at byte " << border;
    }
}

TEST_F(RegTable, ValidationsTakeTurns) {
    const pid_t other = fork();
    if (other == 0) {
        int failed = 0;
        for (int i = 0; i < 12; i++) failed += parse_validate_encrypted_signed_reg_tbl_file(kDone.c_str()) != 0;
        _exit(failed);
    }
    table.version = "9.9.9\n";
    write_file("/tmp/forged", table.text());
    for (int i = 0; i < 12; i++) EXPECT_EQ(parse_validate_encrypted_signed_reg_tbl_file("/tmp/forged"), -100);
    int failed = -1;
    EXPECT_EQ(waitpid(other, &failed, 0), other);
    EXPECT_EQ(failed, 0);
    EXPECT_TRUE(fs::is_empty(kFolder));
}

TEST_F(RegTable, TrustsItsTwoAuthoritiesOnly) {
    const string refused =
        "-100 ^[msg Certificate verification failed. Result is . Expected output is = '/quill/reg_table/tempCert.pem: "
        "OK'\n]" +
        kNotValid;
    sh("cd /tmp && openssl req -x509 -newkey rsa:2048 -nodes -keyout other.key -out other -subj /CN=other -days 30 "
       "2>/dev/null && mkdir trusted && cp other trusted/$(openssl x509 -hash -noout -in other).0");
    // The certificates that the machine's openssl trusts do not count either.
    setenv("SSL_CERT_DIR", "/tmp/trusted", 1);
    setenv("SSL_CERT_FILE", "/tmp/other", 1);
    for (const auto &[name, by] :
         {std::pair("foreign", "-CA /tmp/other -CAkey /tmp/other.key -days 30"),
          std::pair("self", "-signkey /tmp/key -days 30"),
          std::pair("expired",
                    "-CA " AUTHORITY "/parent.der -CAform DER -CAkey " AUTHORITY_KEYS "/parent.key -days -1")}) {
        issue(name, by);
        sign(string("/tmp/") + name);
        EXPECT_EQ(validation(), refused) << name;
    }
    // Files of an interrupted run are not used.
    fs::copy("/tmp/signer", kFolder + "tempCert.pem");
    sh("openssl x509 -in /tmp/signer -outform DER -out " + kFolder + "tempCert.der");
    write_file(kFolder + "tempOutput.bin", kFolder + "tempCert.pem: OK\n");
    EXPECT_EQ(validate("{CERTIFICATE}\n{/CERTIFICATE}\n%S%T%V"), refused);
}

// Tries a daemon's umask, and a temporary file that was opened before.
TEST_F(RegTable, NoOtherUserReadsOrWritesATemporaryFile) {
    const std::vector<const char *> of_validation = {
        "temp_parsed_cert.bin", "temp_parsed_sign.bin", "temp_parsed_file.bin", "temp_parsed_version.bin",
        "tempSignature.bin",    "tempCert.der",         "tempdata.bin",         "tempCert.pem",
        "tempOutput.bin",       "tempRootCert.pem",     "tempInput.bin"};
    for (const bool unpacks : {false, true}) {
        const auto names = unpacks ? std::vector{"tempdecompressedfiled.bin"} : of_validation;
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
            for (const char *name : names) left[kFolder + name] = fopen((kFolder + name).c_str(), "w");
            const mode_t before = umask(mask);
            EXPECT_EQ(unpacks ? unpacking() : validation(), unpacks ? "0" : kAccepted);
            umask(before);
            EXPECT_EQ(seen.size(), left.size());
            for (const auto &[path, file] : left) fclose(file);
        }
        before_command = nullptr;
    }
}

TEST_F(RegTable, FilesThatAreMissingOrCut) {
    char *text = nullptr;
    EXPECT_EQ(outcome([] { return parse_validate_encrypted_signed_reg_tbl_file(nullptr); }),
              "-97 ^[msg \n Failed to parse the file]");
    EXPECT_EQ(outcome([&] { return parse_validate_get_reg_tbl_file_ver("/tmp/none", &text); }),
              "-97 ^[msg \n Unable to open the data file] ^[msg \n Failed to parse the file] ^[msg Error encountered "
              "while parsing or validating the file]");
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(outcome([] {
                  limit_files(table.certificate.size() - 1);
                  const int result = parse_validate_encrypted_signed_reg_tbl_file(kDone.c_str());
                  limit_files();
                  return result;
              }),
              "-97 ^[msg \n Failed to parse the file]");
}

// Real tools: one is missing, one is killed, one would prompt a person, and one cannot be waited for.
TEST_F(RegTable, ToolsThatFail) {
    const string path = getenv("PATH");
    const auto with_openssl = [&](const string &script, const string &search) {
        write_file("/tmp/bin/openssl", "#!/bin/sh\n" + script);
        chmod("/tmp/bin/openssl", 0755);
        setenv("PATH", search.c_str(), 1);
        const string result = validation();
        setenv("PATH", path.c_str(), 1);
        return result;
    };
    mkdir("/tmp/bin", 0755);
    const string expected = ". Expected output is = '/quill/reg_table/tempCert.pem: OK'\n]";
    EXPECT_EQ(with_openssl("", "/tmp/none"),
              "-100 ^[msg Certificate verification failed. Result is " + expected + kNotValid);
    EXPECT_EQ(
        with_openssl("[ $1 != dgst ] || kill -9 $$\nexec /usr/bin/openssl \"$@\"\n", "/tmp/bin"),
        "-100 ^[msg \n Certificate validated \n] ^[msg Verification of received signature failed. Result is .\n]" +
            kNotValid);
    // The tool has no input. It runs in a session of its own, and so has no terminal.
    if (!freopen(kDone.c_str(), "r", stdin)) abort();
    with_openssl(
        "read -r _ && echo input >>/tmp/asked\n"
        "read -r _ _ _ _ _ session _ </proc/$$/stat\n[ $session = $$ ] || echo terminal >>/tmp/asked\n",
        "/tmp/bin:" + path);
    EXPECT_FALSE(fs::exists("/tmp/asked")) << read_file("/tmp/asked");
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(validation(), "-94 ^[msg Failed to decode the file]");
    signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(validation(), kAccepted);
}

TEST_F(RegTable, Unpacks) {
    EXPECT_EQ(unpacking(), "0");
    EXPECT_EQ(read_file("/tmp/out"), table.text());
    mkdir("/tmp/folder", 0755);
    ASSERT_EQ(chdir("/tmp/folder"), 0);
    for (const string name : {"a b.gz", "-f.gz", "a;touch y.gz", "$(touch y).gz", "it's.gz", "\xff.gz", "%s%n.gz"}) {
        fs::rename("/tmp/signed.gz", name);
        write_file("/tmp/out", "");
        EXPECT_EQ(unpack(name.c_str(), "/tmp/out"), "0");
        EXPECT_EQ(read_file("/tmp/out"), table.text()) << name;
        fs::rename(name, "/tmp/signed.gz");
    }
    EXPECT_TRUE(fs::is_empty("/tmp/folder"));
    ASSERT_EQ(chdir("/"), 0);
    // The command may have at most 511 bytes.
    const size_t longest = 511 - ("gunzip -c  > " + kFolder + "tempdecompressedfiled.bin").size();
    for (const size_t length : {longest, longest + 1})
        EXPECT_EQ(unpack((string(length - 13, '/') + "tmp/signed.gz").c_str(), "/tmp/out"),
                  length == longest ? "0" : "-98 ^[msg Unable to decompress the file]");
}

}  // namespace
}  // namespace quill::test
