// Cases are data, with a line for each case. The file of cases is beside the test that binds their functions:
//
//     sec_to_str 59 = "59s"                              a call, and what it returns
//     sec_to_str 0 = "0s"; 60 = "1m:0s"                  two cases of one function
//     validate_time "12:30" | "99:99" | ":" = 1          three calls that return the same
//     fqln_escape_dot "a.b" [10] 9 = @ "a\\.b"           room of 10 bytes; the result is this room; then its content
//     is_numeric "12a" &-7 = 0 12                        the place of a number, which is -7 before, and then 12
//     version_within_range &4,2,0,5,0,0 &4,3,0 = 1       several numbers
//     valid_mac xeeeeeeeeeeee "0:1:2:3:4:5x" = 0 x...    numbers as hexadecimal digits, the highest first
//     quill_inet_pton "10.0.0.1" ? = 1 2x0a000001        room for an address; one is its family and its bytes up to the
//                                                        last that is not 0
//     given /proc/osbuild "a b c\n" get_os_version = "c\n"   a file that is there for the calls of this line
//
// Arguments are numbers, texts, null, rooms and places of numbers. The result is followed by the contents of the memory
// that a function may write: texts, rooms and numbers. In texts, a backslash comes before n, t, r, a quote, itself, and
// xHH. Texts and rooms end where a page without access begins. _ is any value, where the result is not promised. Lines
// that begin with # are comments.
#pragma once

#include <quill/types.h>
#include <stdint.h>

#include <algorithm>
#include <array>
#include <deque>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include "support/guard_page.h"

namespace quill::test {

// The arguments and the results of a call, in the words of a case file.
class CaseCall {
public:
    explicit CaseCall(std::span<const std::string> words) : words_(words) {}

    template <typename T>
    T take() {
        const std::string word = next();
        if constexpr (std::is_integral_v<T>) {
            return static_cast<T>(number(word));
        } else if constexpr (std::is_same_v<T, const char *>) {
            return word == "null" ? nullptr : hold(word);
        } else if constexpr (std::is_same_v<T, char *>) {
            if (word == "null") return nullptr;
            if (word[0] == '[') return room(word);
            char *const text = hold(word);
            written_.push_back([=, size = strlen(text) + 1] { return show_room(text, size); });
            return text;
        } else if constexpr (std::is_same_v<T, ip_af_addr>) {
            return address(word);
        } else if constexpr (std::is_same_v<T, ip_af_addr *>) {
            return word == "null" ? nullptr : address_room(word);
        } else {
            using Number = std::remove_const_t<std::remove_pointer_t<T>>;
            static_assert(std::is_integral_v<Number>, "numbers, texts, addresses, and places for them");
            if (word == "null") return nullptr;
            const std::vector<long long> given = numbers(word, sizeof(Number));
            auto *const place =
                reinterpret_cast<Number *>(pages_.emplace_back().room(given.size() * sizeof(Number), 0));
            for (size_t i = 0; i < given.size(); i++) place[i] = static_cast<Number>(given[i]);
            if constexpr (!std::is_const_v<std::remove_pointer_t<T>>)
                show_numbers(
                    word, [=](size_t i) { return static_cast<long long>(place[i]); }, given.size(), sizeof *place);
            return place;
        }
    }
    template <typename Result>
    void returned(Result result) {
        if constexpr (std::is_integral_v<Result>)
            shown_.push_back(std::to_string(result));
        else if constexpr (std::is_same_v<Result, std::string>)
            shown_.push_back(quoted(result));
        else
            shown_.push_back(!result ? "null" : is_room(result) ? "@" : quoted(result));
    }
    // Returns the words for the result and for what was written. If the case has a fault, the fault is the only word.
    std::vector<std::string> shown();

private:
    std::string next();
    long long number(const std::string &word);
    std::vector<long long> numbers(const std::string &word, size_t size);
    void show_numbers(const std::string &word, std::function<long long(size_t)> number, size_t count, size_t size);
    ip_af_addr address(const std::string &word);
    ip_af_addr *address_room(const std::string &word);
    char *hold(const std::string &quoted_text);
    char *room(const std::string &word);
    bool is_room(const char *result) const;
    void fail(const std::string &what);
    static std::string quoted(std::string_view text);
    static std::string show_room(const char *start, size_t size);

    std::span<const std::string> words_;
    std::deque<GuardedPage> pages_;
    std::vector<const char *> rooms_;
    std::vector<std::function<std::string()>> written_;
    std::vector<std::string> shown_;
    std::string fault_;
};

struct CaseFunction {
    std::string_view name;
    void (*call)(CaseCall &call);
};

template <auto kFunction>
struct BoundFunction;
template <typename Result, typename... Arguments, Result (*kFunction)(Arguments...)>
struct BoundFunction<kFunction> {
    static void call(CaseCall &call) {
        const std::tuple<Arguments...> arguments{call.take<Arguments>()...};  // evaluated from left to right
        if constexpr (std::is_void_v<Result>)
            std::apply(kFunction, arguments);
        else
            call.returned(std::apply(kFunction, arguments));
    }
};
// The names are those of the functions, "a, b, c".
template <auto... kFunctions>
constexpr auto bind_functions(std::string_view names) {
    const auto next = [&] {
        const std::string_view name = names.substr(0, names.find(','));
        names.remove_prefix(std::min(name.size() + 2, names.size()));
        return name;
    };
    return std::array{CaseFunction{next(), BoundFunction<kFunctions>::call}...};
}
#define QUILL_CASE_FUNCTIONS(...) quill::test::bind_functions<__VA_ARGS__>(#__VA_ARGS__)

// Checks each case of tests/FILE. These fail: a case of a function that is not bound, a bound function without a case,
// an incomplete line, and a file without cases. With kAreLeftOut, cases of functions that are not bound are skipped;
// this is for tests that try only some functions again.
enum class Others { kFail, kAreLeftOut };
void expect_cases(const char *file, std::span<const CaseFunction> functions, Others others = Others::kFail);

}  // namespace quill::test
