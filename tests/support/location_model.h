// The rules of location names, step by step.
#pragma once

#include <stdint.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace quill::test {

using Parts = std::array<std::string, 4>;

inline Parts crack_model(const std::string &name, const std::array<uint32_t, 4> &sizes) {
    Parts parts;
    size_t part = 0;
    bool flag = false;
    for (const char c : name) {
        if (parts[part].size() == sizes[part]) break;
        if (flag || (c != '\\' && c != '.')) {
            parts[part] += c;
            flag = false;
        } else if (c == '\\') {
            flag = true;
        } else if (++part == 4) {
            break;
        }
    }
    return parts;
}

inline std::string escape_model(const std::string &text, uint32_t size) {
    std::string out;
    bool flag = false;
    for (const char c : text) {
        if (out.size() + 1 >= size) break;
        if (c == '.') {
            out += flag ? "." : "\\.";
            flag = false;
        } else if (c == '\\') {
            flag = !flag;
            if (!flag) out += c;
        } else {
            out += c;
        }
    }
    return out;
}

inline std::string build_model(const Parts &parts, size_t size) {
    std::string out = escape_model(parts[0], 128);
    size_t sum = out.size();
    for (size_t i = 1; i < 4 && sum < size; i++) {
        for (const std::string &more : {std::string("."), escape_model(parts[i], 128)}) {
            out.resize(std::min(out.size(), size - 1));
            out += more;
            sum += out.size();
        }
    }
    return out.substr(0, size - 1);
}

// Where the separators are.
inline std::vector<size_t> separators_model(const std::string &name) {
    std::vector<size_t> at;
    for (size_t i = 0; i < name.size(); i++) {
        if (name[i] == '\\')
            i++;
        else if (name[i] == '.')
            at.push_back(i);
    }
    return at;
}

}  // namespace quill::test
