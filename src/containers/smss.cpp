#include <quill/smss.h>

#include <limits.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <utility>

#include "base/ascii.h"
#include "base/memory.h"

// How it works
//
// The pool is a chain of blocks, so that a string stays where it is. Its sizes are those of one growing block: a new
// block takes over, at the used offset, all that the grown pool has from there on.
//
//     pool ──▶ [start 400 │ bytes 400 to 1023] ──▶ [start 0 │ bytes 0 to 511, used to 399]
//
// Sorting asks for a field as late as possible and once: each match gets a row of cells, one for each sort key, that
// keep what the accessors answered. qsort moves pointers to rows. Texts are kept folded, so that a comparison is strcmp.

static_assert(offsetof(smss_ctx, field_type) == sizeof(void *) + 8);
static_assert(sizeof(smss_ctx) == (sizeof(void *) == 4 ? 588 : 1136));
static_assert(offsetof(smss_ctx, sort) - offsetof(smss_ctx, search) == 64 * sizeof(void *) + sizeof(void *));

namespace {

constexpr int32_t kSlots = 512;  // what an array grows by
constexpr int32_t kBytes = 512;  // what the pool's size is a multiple of
constexpr uint32_t kPairs = 16;  // of criteria, and of sort keys
constexpr int kPageSize = 10, kMaxPageSize = 100000;

// --- the pool

struct Block {
    Block *older;
    int32_t start;  // the pool's offset of its first byte

    char *bytes() { return reinterpret_cast<char *>(this + 1); }
};

bool grow_pool(smss_ctx &context, int32_t length) {
    const int64_t capacity = (int64_t{context.pool_capacity} + length + 1) / kBytes * kBytes + kBytes;
    if (capacity > INT32_MAX) return false;
    auto *block = static_cast<Block *>(malloc(sizeof(Block) + static_cast<size_t>(capacity - context.pool_used)));
    if (!block) return false;
    block->older = static_cast<Block *>(context.pool);
    block->start = context.pool_used;
    context.pool = block;
    context.pool_capacity = static_cast<int32_t>(capacity);
    return true;
}

char *add_text(smss_ctx &context, const char *text) {
    const size_t length = text ? strlen(text) : 0;
    return text && length < INT_MAX ? smss_add_string(&context, text, static_cast<int>(length)) : nullptr;
}

// --- arrays of object pointers

void append(void **&array, int32_t &capacity, int32_t &count, void *object) {
    if (count >= capacity) {
        if (capacity > INT32_MAX - kSlots) return;
        void *grown = realloc(array, static_cast<size_t>(capacity + kSlots) * sizeof *array);
        if (!grown) return;
        array = static_cast<void **>(grown);
        capacity += kSlots;
    }
    array[count++] = object;
}

void add_pair(smss_ctx &context, char **words, uint32_t &count, const char *name, const char *word) {
    if (count >= 2 * kPairs) return;
    words[count] = add_text(context, name);
    words[count + 1] = add_text(context, word);
    count += 2;
}

// How many of the pairs there are to use, whatever a program wrote to the count.
uint32_t pairs(uint32_t words) { return std::min(words / 2, kPairs); }

// --- fields

// The field, folded, in buffer. An accessor that writes nothing, or no terminator, gives a text all the same.
char *fetch_text(const smss_ctx &context, const void *object, const char *field, char *buffer) {
    buffer[0] = '\0';
    context.text(buffer, object, field);
    buffer[SMSS_TEXT_SIZE] = '\0';
    for (char *c = buffer; *c; c++) *c = quill::fold_case(*c);
    return buffer;
}

bool holds(const smss_ctx &context, const void *object, const char *name, const char *value, uint32_t number) {
    if (!name || !value) return false;  // lost when memory ran out
    switch (context.field_type(object, name)) {
        case SMSS_NUMBER: return context.number(object, name) == number;
        case SMSS_TEXT:
            return context.text1 &&
                   quill::contains_ignoring_case(fetch_text(context, object, name, context.text1), value);
        default: return false;
    }
}

bool matches(const smss_ctx &context, const void *object, const uint32_t *numbers) {
    uint32_t met = 0;
    for (size_t i = 0; i < pairs(context.search_words); i++) {
        const bool held = holds(context, object, context.search[2 * i], context.search[2 * i + 1], numbers[i]);
        met += held;
        if (held == (context.match_any != 0)) break;
    }
    return (context.match_any && met > 0) || 2 * met == context.search_words;
}

void filter(smss_ctx &context) {
    uint32_t numbers[kPairs] = {};
    for (size_t i = 0; i < pairs(context.search_words); i++) {
        const char *value = context.search[2 * i + 1];
        if (value) numbers[i] = static_cast<uint32_t>(atoi(value));
    }
    for (int32_t i = 0; i < context.object_count; i++)
        if (matches(context, context.objects[i], numbers))
            append(context.results, context.result_capacity, context.result_count, context.objects[i]);
}

// --- sorting

// What the accessors answered for an object and a sort key.
struct Cell {
    enum Type : uint8_t { kUnasked, kNumber, kText, kNone } type;
    bool has_number;
    uint32_t number;
    const char *text;  // folded; null: not asked, or not kept
};

struct Row {
    void *object;

    Cell *cells() { return reinterpret_cast<Cell *>(this + 1); }
};

struct Sort {
    const smss_ctx &context;
    struct Key {
        const char *name;
        bool descending;
    } keys[kPairs];
    uint32_t key_count;
    bool keeps_texts;
    smss_ctx texts;  // a query of its own, for its pool
};

// State: the sort under way, for qsort's comparison; null between searches. Nothing guards it.
constinit Sort *sort_under_way = nullptr;

Cell::Type type_of(const Sort &sort, const void *object, const char *name, Cell &cell) {
    if (cell.type == Cell::kUnasked) {
        const int type = sort.context.field_type(object, name);
        cell.type = type == SMSS_NUMBER ? Cell::kNumber : type == SMSS_TEXT ? Cell::kText : Cell::kNone;
    }
    return cell.type;
}

uint32_t number_of(const Sort &sort, const void *object, const char *name, Cell &cell) {
    if (!cell.has_number) {
        cell.number = sort.context.number(object, name);
        cell.has_number = true;
    }
    return cell.number;
}

const char *text_of(Sort &sort, const void *object, const char *name, Cell &cell, char *buffer) {
    if (cell.text) return cell.text;
    const char *text = fetch_text(sort.context, object, name, buffer);
    if (sort.keeps_texts) cell.text = add_text(sort.texts, text);
    return cell.text ? cell.text : text;
}

// The type is taken from a alone.
int compare_fields(Sort &sort, const char *name, const void *a, Cell &cell_a, const void *b, Cell &cell_b) {
    const smss_ctx &context = sort.context;
    switch (type_of(sort, a, name, cell_a)) {
        case Cell::kNumber: {
            const uint32_t number = number_of(sort, a, name, cell_a);
            return static_cast<int32_t>(number - number_of(sort, b, name, cell_b));
        }
        case Cell::kText: {
            if (!context.text1 || !context.text2) return 0;
            const char *text = text_of(sort, a, name, cell_a, context.text1);
            return strcmp(text, text_of(sort, b, name, cell_b, context.text2));
        }
        default: return 0;
    }
}

int compare(const void *a, Cell *cells_a, const void *b, Cell *cells_b) {
    Sort &sort = *sort_under_way;
    for (uint32_t i = 0; i < sort.key_count; i++) {
        const int order = compare_fields(sort, sort.keys[i].name, a, cells_a[i], b, cells_b[i]);
        if (order == 0) continue;
        return sort.keys[i].descending ? static_cast<int>(0u - static_cast<uint32_t>(order)) : order;
    }
    return 0;
}

int compare_rows(const void *a, const void *b) {
    Row *x = *static_cast<Row *const *>(a), *y = *static_cast<Row *const *>(b);
    return compare(x->object, x->cells(), y->object, y->cells());
}

// For want of memory for rows.
int compare_objects(const void *a, const void *b) {
    Cell x[kPairs] = {}, y[kPairs] = {};
    return compare(*static_cast<void *const *>(a), x, *static_cast<void *const *>(b), y);
}

// While rows are sorted, they stand in for their objects in the results.
void sort_results(smss_ctx &context) {
    Sort sort = {context, {}, 0, false, {}};
    for (size_t i = 0; i < pairs(context.sort_words); i++) {
        const char *name = context.sort[2 * i], *word = context.sort[2 * i + 1];
        if (name) sort.keys[sort.key_count++] = {name, word && quill::compare_ignoring_case(word, "desc") == 0};
    }
    if (sort.key_count == 0 || context.result_count < 2) return;

    void **results = context.results;
    const auto count = static_cast<size_t>(context.result_count);
    const size_t row_size = sizeof(Row) + sort.key_count * sizeof(Cell);
    const quill::Owned<char> rows(static_cast<char *>(calloc(count, row_size)));
    sort_under_way = &sort;
    if (!rows) {
        qsort(results, count, sizeof *results, compare_objects);
    } else {
        sort.keeps_texts = true;
        for (size_t i = 0; i < count; i++) {
            void *row = rows.get() + i * row_size;
            static_cast<Row *>(row)->object = std::exchange(results[i], row);
        }
        qsort(results, count, sizeof *results, compare_rows);
        for (size_t i = 0; i < count; i++) results[i] = static_cast<Row *>(results[i])->object;
        smss_deinit(&sort.texts);
    }
    sort_under_way = nullptr;
}

}  // namespace

void smss_init(smss_ctx *context) {
    *context = {};
    context->text1 = smss_add_string(context, nullptr, SMSS_TEXT_SIZE);
    context->text2 = smss_add_string(context, nullptr, SMSS_TEXT_SIZE);
}

void smss_deinit(smss_ctx *context) {
    free(context->objects);
    free(context->results);
    for (auto *block = static_cast<Block *>(context->pool); block;) free(std::exchange(block, block->older));
    *context = {};
}

void smss_add_object(smss_ctx *context, void *object) {
    append(context->objects, context->object_capacity, context->object_count, object);
}

char *smss_add_string(smss_ctx *context, const char *text, int length) {
    if (length < 0) return nullptr;
    const bool fits = context->pool_capacity > int64_t{context->pool_used} + length + 1;
    if (!fits && !grow_pool(*context, length)) return nullptr;
    auto *block = static_cast<Block *>(context->pool);
    char *copy = block->bytes() + (context->pool_used - block->start);
    if (text) memcpy(copy, text, static_cast<size_t>(length));
    copy[length] = '\0';
    context->pool_used += length + 1;
    return copy;
}

void smss_add_search_criterion(smss_ctx *context, const char *name, const char *value) {
    add_pair(*context, context->search, context->search_words, name, value);
}

void smss_add_sort_criterion(smss_ctx *context, const char *name, const char *order) {
    add_pair(*context, context->sort, context->sort_words, name, order);
}

int smss_search(smss_ctx *context, int start, int page_size) {
    const int size = page_size < 1 ? kPageSize : std::min(page_size, kMaxPageSize);
    const int first = std::max(start, 0) / size * size;
    filter(*context);
    sort_results(*context);
    context->total = context->result_count;
    context->page_start = first;
    context->result_count = std::clamp(context->total - first, 0, size);
    if (first > 0 && context->result_count > 0)
        std::copy_n(context->results + first, context->result_count, context->results);
    return 0;
}
