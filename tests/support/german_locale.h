// Makes a locale in which the decimal point is a comma and bytes above 127 are letters. The process uses this locale
// while the object lives.
#pragma once

#include <locale.h>
#include <stdlib.h>
#include <string.h>

#include <bit>
#include <filesystem>
#include <string>

namespace quill::test {

class GermanLocale {
public:
    GermanLocale() : folder_((std::filesystem::temp_directory_path() / "quill-locale-XXXXXX").string()) {
        if (!mkdtemp(folder_.data())) abort();
        const std::string order = std::endian::native == std::endian::big ? "--big-endian" : "--little-endian";
        const std::string make = "localedef --no-archive " + order + " -f ISO-8859-1 -i de_DE " + folder_ + "/de_DE";
        made_ = system((make + " >/dev/null 2>&1").c_str()) == 0 && setenv("LOCPATH", folder_.c_str(), 1) == 0 &&
                setlocale(LC_ALL, "de_DE") && strcmp(localeconv()->decimal_point, ",") == 0;
    }
    ~GermanLocale() {
        setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
        std::filesystem::remove_all(folder_);
    }
    GermanLocale(const GermanLocale &) = delete;
    GermanLocale &operator=(const GermanLocale &) = delete;

    explicit operator bool() const { return made_; }

private:
    std::string folder_;
    bool made_;
};

}  // namespace quill::test
