// A program of another project, in C++: a VLAN set in a std::unique_ptr.
#include <quill/vmap.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

int main() {
    struct Free {
        void operator()(vmap *set) const { vmap_free(set); }
    };
    const std::unique_ptr<vmap, Free> vlans(vmap_from_string("20,1-10"));
    if (!vlans) return EXIT_FAILURE;
    const std::string text = vmap_to_range_str(vlans.get(), 0);
    std::cout << text << '\n';
    return text == "1-10,20" ? EXIT_SUCCESS : EXIT_FAILURE;
}
