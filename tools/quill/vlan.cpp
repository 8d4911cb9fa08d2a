// quill vlan.
#include <quill/vmap.h>
#include <stdio.h>
#include <string.h>

#include <span>

#include "command.h"
#include "console.h"

namespace quill::cli {

constexpr char kVlanHelp[] =
    "usage: quill vlan [--count | --expand | --json] [not] SET [+|- [not] SET]...\n"
    "\n"
    "Prints a set of VLANs in its shortest form. A SET is ids and ranges with commas\n"
    "between them, \"all\", or \"0\" for none; + adds a set, - takes one away, from left\n"
    "to right, and \"not\" turns the set behind it over.\n"
    "\n"
    "  --count   print how many there are\n"
    "  --expand  print each id, one a line\n"
    "  --json    print all three as a JSON object\n"
    "\n"
    "example: quill vlan 1-10,20 + 30 - 5\n";

namespace {

class Set {
public:
    explicit Set(const char *text) : map_(vmap_from_string(text)) {
        if (map_) return;
        if (vmap_validate_string(text)) fail("out of memory");
        fail("\"%s\" is no set: expected ids from %d to %d and ranges, as in 1-10,20", text, VMAP_FIRST_ID,
             VMAP_LAST_ID);
    }
    Set(const Set &) = delete;
    ~Set() { vmap_free(map_); }

    void add(const Set &other) { changed(vmap_merge(&map_, other.map_)); }
    void take_away(const Set &other) { changed(vmap_exclude(&map_, other.map_)); }
    void turn_over() {
        changed(vmap_invert(&map_));
        changed(vmap_delete_range(&map_, 0, 0));  // which are no VLANs
        changed(vmap_delete_range(&map_, VMAP_LAST_ID + 1, VMAP_LAST_ID + 1));
    }
    bool has(int id) const { return map_->words[id / 32] >> id % 32 & 1; }
    const char *text() {
        const char *text = vmap_to_string(map_);
        if (!text) fail("out of memory");
        return text;
    }

private:
    static void changed(int done) {
        if (!done) fail("out of memory");
    }
    vmap *map_;
};

template <typename Show>
void each_id(const Set &set, Show show) {
    for (int id = VMAP_FIRST_ID; id <= VMAP_LAST_ID; id++)
        if (set.has(id)) show(id);
}

unsigned count(const Set &set) {
    unsigned ids = 0;
    each_id(set, [&](int) { ids++; });
    return ids;
}

// A set, turned over if "not" stands before it; moves on behind it.
void read_set(Arguments &arguments, std::span<char *> &words, Set *into, char operation) {
    bool turned = false;
    while (!words.empty() && strcmp(words[0], "not") == 0) {
        turned = !turned;
        words = words.subspan(1);
    }
    if (words.empty()) arguments.misused("a set is missing at the end");
    Set set(words[0]);
    words = words.subspan(1);
    if (turned) set.turn_over();
    operation == '-' ? into->take_away(set) : into->add(set);
}

void print_json(Set &set) {
    Json json;
    json.begin('{');
    json.text("set", set.text());
    json.number("count", uint64_t{count(set)});
    json.begin('[', "ids");
    each_id(set, [&](int id) { json.number(nullptr, int64_t{id}); });
    json.end(']');
    json.end('}');
    json.finish();
}

}  // namespace

int vlan(Arguments &arguments) {
    const bool counted = arguments.take("--count"), expanded = arguments.take("--expand"),
               json = arguments.take("--json");
    std::span<char *> words = arguments.operands(1, SIZE_MAX);
    if (counted + expanded + json > 1) arguments.misused("only one of --count, --expand and --json");
    Set set("0");
    read_set(arguments, words, &set, '+');
    while (!words.empty()) {
        const char *operation = words[0];
        if (strcmp(operation, "+") != 0 && strcmp(operation, "-") != 0)
            arguments.misused("expected + or - before \"%s\"", operation);
        words = words.subspan(1);
        read_set(arguments, words, &set, *operation);
    }
    if (counted)
        printf("%u\n", count(set));
    else if (expanded)
        each_id(set, [](int id) { printf("%d\n", id); });
    else if (json)
        print_json(set);
    else
        puts(set.text());
    return kDone;
}

}  // namespace quill::cli
