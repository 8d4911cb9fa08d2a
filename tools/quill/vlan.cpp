// quill vlan.
#include <quill/vmap.h>
#include <string.h>

#include <span>

#include "command.h"
#include "report.h"

namespace quill::cli {

constexpr char kVlanHelp[] =
    "usage: quill vlan [--count | --expand | --json] [not] SET [+|- [not] SET]...\n"
    "\n"
    "Prints a set of VLANs in its shortest form. A SET is a list of ids and ranges\n"
    "with commas between them, \"all\", or \"0\" for none. + adds a set and - removes\n"
    "one, from left to right. \"not\" inverts the set after it.\n"
    "\n"
    "  --count   print the number of ids\n"
    "  --expand  print each id, one a line\n"
    "  --json    print the set, the number and the ids as a JSON object\n"
    "\n"
    "example: quill vlan 1-10,20 + 30 - 5\n";

namespace {

class Set {
public:
    explicit Set(const char *text) : map_(vmap_from_string(text)) {
        if (map_) return;
        if (vmap_validate_string(text)) fail("out of memory");
        fail("\"%s\" is not a set: expected ids from %d to %d and ranges, as in 1-10,20", text, VMAP_FIRST_ID,
             VMAP_LAST_ID);
    }
    Set(const Set &) = delete;
    ~Set() { vmap_free(map_); }

    void add(const Set &other) { changed(vmap_merge(&map_, other.map_)); }
    void take_away(const Set &other) { changed(vmap_exclude(&map_, other.map_)); }
    void turn_over() {
        changed(vmap_invert(&map_));
        changed(vmap_delete_range(&map_, 0, 0));  // 0 and 4095 are not VLANs
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

// Reads a set, inverted if "not" comes before it, and moves past it. Adds the set to `into`, or removes it for '-'.
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
    if (operation == '-')
        into->take_away(set);
    else
        into->add(set);
}

}  // namespace

int vlan(Arguments &arguments) {
    const bool counted = arguments.take("--count"), expanded = arguments.take("--expand"),
               as_json = arguments.take("--json");
    std::span<char *> words = arguments.operands(1, SIZE_MAX);
    if (counted + expanded + as_json > 1) arguments.misused("only one of --count, --expand and --json");
    Set set("0");
    read_set(arguments, words, &set, '+');
    while (!words.empty()) {
        const char *operation = words[0];
        if (strcmp(operation, "+") != 0 && strcmp(operation, "-") != 0)
            arguments.misused("expected + or - before \"%s\"", operation);
        words = words.subspan(1);
        read_set(arguments, words, &set, *operation);
    }
    Report report(as_json);
    report.begin_object();
    if (!counted && !expanded) report.text({"set", ""}, set.text());
    if (counted || as_json) report.number({"count", ""}, count(set));
    if (expanded || as_json) {
        report.begin_list("ids");
        each_id(set, [&](int id) { report.number({nullptr, ""}, id); });
        report.end_list();
    }
    report.end_object();
    return kDone;
}

}  // namespace quill::cli
