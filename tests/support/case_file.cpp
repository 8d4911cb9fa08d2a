#include "support/case_file.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <set>

#include "support/hex.h"
#include "support/private_device.h"

namespace quill::test {

namespace {

// Returns the words of a line. A text is one word, from quote to quote.
std::vector<std::string> words_of(const std::string &line) {
    std::vector<std::string> words;
    for (size_t at = 0; (at = line.find_first_not_of(' ', at)) != std::string::npos;) {
        size_t end = at + 1;
        if (line[at] == '"') {
            while (end < line.size() && line[end] != '"') end += line[end] == '\\' ? 2 : 1;
            end++;
        } else {
            end = std::min(line.find_first_of(" ;", at + 1), line.size());
        }
        words.push_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

constexpr std::string_view kEscapes = "ntr\"\\", kMeanings = "\n\t\r\"\\";

// Reads the text between quotes, without its escapes. Returns false if it is not a text.
bool read_text(const std::string &quoted, std::string &text) {
    if (quoted.size() < 2 || quoted.front() != '"' || quoted.back() != '"') return false;
    for (size_t i = 1; i + 1 < quoted.size(); i++) {
        if (quoted[i] != '\\') {
            text += quoted[i];
        } else if (quoted[++i] == 'x') {
            text += static_cast<char>(strtol(quoted.substr(i + 1, 2).c_str(), nullptr, 16));
            i += 2;
        } else if (const size_t escape = kEscapes.find(quoted[i]); escape != std::string_view::npos) {
            text += kMeanings[escape];
        } else {
            return false;
        }
    }
    return true;
}

using Words = std::span<const std::string>;

template <typename Visit>
void for_each_part(Words words, const char *separator, Visit visit) {
    for (;;) {
        const auto length = static_cast<size_t>(std::find(words.begin(), words.end(), separator) - words.begin());
        visit(words.first(length));
        if (length == words.size()) return;
        words = words.subspan(length + 1);
    }
}

// Checks the words "argument... | argument... = result...".
void expect_case(const CaseFunction &function, Words words) {
    const auto length = static_cast<size_t>(std::find(words.begin(), words.end(), "=") - words.begin());
    if (length == words.size()) {
        ADD_FAILURE() << "no = in the case";
        return;
    }
    const Words results = words.subspan(length + 1);
    const std::vector<std::string> wanted(results.begin(), results.end());
    for_each_part(words.first(length), "|", [&](Words arguments) {
        CaseCall call(arguments);
        function.call(call);
        std::vector<std::string> shown = call.shown();
        for (size_t i = 0; i < shown.size() && i < wanted.size(); i++)
            if (wanted[i] == "_") shown[i] = "_";
        EXPECT_EQ(shown, wanted) << "with " << (arguments.empty() ? "no argument" : arguments[0]);
    });
}

}  // namespace

std::string CaseCall::next() {
    if (words_.empty()) {
        fail("too few arguments");
        return "null";
    }
    const std::string word = words_.front();
    words_ = words_.subspan(1);
    return word;
}

long long CaseCall::number(const std::string &word) {
    char *end;
    const long long value = strtoll(word.c_str(), &end, 0);
    if (*end || word.empty()) fail("expected a number, found " + word);
    return value;
}

// Reads "&1,-2", or "x" and the hexadecimal digits of numbers of `size` bytes.
std::vector<long long> CaseCall::numbers(const std::string &word, size_t size) {
    const bool is_hex = word[0] == 'x';
    if (!is_hex && word[0] != '&') fail("expected numbers, found " + word);
    std::vector<long long> all;
    for (size_t at = 1, end; at <= word.size() - is_hex; at = end + !is_hex) {
        end = std::min(is_hex ? at + 2 * size : word.find(',', at), word.size());
        all.push_back(number((is_hex ? "0x" : "") + word.substr(at, end - at)));
    }
    return all;
}

void CaseCall::show_numbers(const std::string &word, std::function<long long(size_t)> number, size_t count,
                            size_t size) {
    if (word[0] == 'x')
        written_.push_back([=] {
            std::string digits = "x";
            for (size_t i = 0; i < count; i++)
                for (size_t byte = size; byte-- > 0;) digits += hex({{static_cast<uint8_t>(number(i) >> 8 * byte)}});
            return digits;
        });
    else
        for (size_t i = 0; i < count; i++) written_.push_back([=] { return std::to_string(number(i)); });
}

ip_af_addr CaseCall::address(const std::string &word) {
    ip_af_addr address = {};
    const size_t x = std::min(word.find('x'), word.size());
    address.family = static_cast<uint16_t>(number(word.substr(0, x)));
    const std::vector<long long> bytes = numbers(word.substr(x), 1);
    std::copy_n(bytes.begin(), std::min(bytes.size(), sizeof address.addr), address.addr);
    return address;
}

ip_af_addr *CaseCall::address_room(const std::string &word) {
    if (word != "?") fail("expected ?, found " + word);
    uint8_t *const start = pages_.emplace_back().room(sizeof(ip_af_addr), 0xee);
    auto *const room = reinterpret_cast<ip_af_addr *>(start);
    written_.push_back([=] {
        if (std::all_of(start, start + sizeof *room, [](uint8_t b) { return b == 0xee; })) return std::string("?");
        if (room->zero[0] || room->zero[1]) return std::string("bytes that must be zero and are not");
        const std::string digits = hex(room->addr);
        return std::to_string(room->family) + "x" + digits.substr(0, (digits.find_last_not_of('0') + 2) / 2 * 2);
    });
    return room;
}

char *CaseCall::hold(const std::string &quoted_text) {
    std::string text;
    if (!read_text(quoted_text, text)) fail("expected a text or null, found " + quoted_text);
    return pages_.emplace_back().hold_text(text);
}

char *CaseCall::room(const std::string &word) {
    const auto size = static_cast<size_t>(number(word.substr(1, word.size() - 2)));
    char *const start = reinterpret_cast<char *>(pages_.emplace_back().room(size, 0xee));
    rooms_.push_back(start);
    written_.push_back([=] { return show_room(start, size); });
    return start;
}

bool CaseCall::is_room(const char *result) const {
    return std::find(rooms_.begin(), rooms_.end(), result) != rooms_.end();
}

void CaseCall::fail(const std::string &what) {
    if (fault_.empty()) fault_ = what;
}

std::string CaseCall::quoted(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        char hex[5];
        if (const size_t meaning = kMeanings.find(c); meaning != std::string_view::npos)
            out += {'\\', kEscapes[meaning]};
        else if (const auto byte = static_cast<unsigned char>(c); byte < ' ' || byte > '~')
            out.append(hex, static_cast<size_t>(snprintf(hex, sizeof hex, "\\x%02x", byte)));
        else
            out += c;
    }
    return out + "\"";
}

std::string CaseCall::show_room(const char *start, size_t size) { return quoted({start, strnlen(start, size)}); }

std::vector<std::string> CaseCall::shown() {
    if (!words_.empty()) fail("too many arguments: " + words_.front());
    if (!fault_.empty()) return {fault_};
    for (const auto &what : written_) shown_.push_back(what());
    return shown_;
}

void expect_cases(const char *file, std::span<const CaseFunction> functions, Others others) {
    std::ifstream lines(std::string(QUILL_TESTS_FOLDER "/") + file);
    std::set<std::string_view> tried;
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        SCOPED_TRACE(std::string(file) + ":" + std::to_string(++number));
        const std::vector<std::string> whole = words_of(line);
        Words words(whole);
        if (words.empty() || words[0][0] == '#') continue;
        std::string given, content;
        if (words[0] == "given" && words.size() > 3 && read_text(words[2], content)) {
            given = words[1];
            words = words.subspan(3);
        }
        const auto function =
            std::find_if(functions.begin(), functions.end(), [&](const CaseFunction &f) { return f.name == words[0]; });
        if (function == functions.end()) {
            EXPECT_EQ(others, Others::kAreLeftOut) << "no function is bound as " << words[0];
            continue;
        }
        tried.insert(function->name);
        if (!given.empty()) write_file(given, content);
        for_each_part(words.subspan(1), ";", [&](Words part) { expect_case(*function, part); });
        if (!given.empty()) unlink(given.c_str());
    }
    for (const CaseFunction &f : functions) EXPECT_TRUE(tried.contains(f.name)) << file << " has no case of " << f.name;
    EXPECT_FALSE(tried.empty()) << file << " has no cases";
}

}  // namespace quill::test
