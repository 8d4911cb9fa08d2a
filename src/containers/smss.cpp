#include <quill/smss.h>

#include <limits.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <utility>

#include "base/ascii.h"
#include "base/decimal.h"
#include "base/memory.h"

// How it works
//
// The pool is a chain of blocks, so that strings never move. The pool counts offsets as if it were a single block that
// grows. A new block starts at the used offset. It holds all bytes of the grown pool from there on.
//
//     pool ──▶ [start 400 │ bytes 400 to 1023] ──▶ [start 0 │ bytes 0 to 511, used to 399]

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
    int32_t start;  // the offset of the block's first byte in the pool

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

// Returns how many pairs to use; at most kPairs, even if a program wrote more to the count.
uint32_t pairs(uint32_t words) { return std::min(words / 2, kPairs); }

// --- fields

// Returns the field's text, in buffer. The result is a terminated text even if the accessor writes nothing, or no
// terminator.
const char *fetch_text(const smss_ctx &context, const void *object, const char *field, char *buffer) {
    buffer[0] = '\0';
    context.text(buffer, object, field);
    buffer[SMSS_TEXT_SIZE] = '\0';
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
        // Values wrap, because fields go up to UINT32_MAX.
        if (value) numbers[i] = static_cast<uint32_t>(quill::int_of<quill::Overflow::kWraps>(value));
    }
    for (int32_t i = 0; i < context.object_count; i++)
        if (matches(context, context.objects[i], numbers))
            append(context.results, context.result_capacity, context.result_count, context.objects[i]);
}

// --- sorting

// The query whose results are being sorted, for the comparison; null between sorts. It is not protected by a lock.
constinit const smss_ctx *sorted_query = nullptr;

// The field's type is that of object `a`. The type in `b` is not checked.
int compare_fields(const smss_ctx &context, const char *name, const void *a, const void *b) {
    switch (context.field_type(a, name)) {
        case SMSS_NUMBER: return static_cast<int32_t>(context.number(a, name) - context.number(b, name));
        case SMSS_TEXT:
            if (!context.text1 || !context.text2) return 0;
            return quill::compare_ignoring_case(fetch_text(context, a, name, context.text1),
                                                fetch_text(context, b, name, context.text2));
        default: return 0;
    }
}

int compare_objects(const void *a, const void *b) {
    const smss_ctx &context = *sorted_query;
    for (size_t i = 0; i < pairs(context.sort_words); i++) {
        const char *const name = context.sort[2 * i], *const word = context.sort[2 * i + 1];
        if (!name) continue;  // lost when memory ran out
        const int order = compare_fields(context, name, *static_cast<void *const *>(a), *static_cast<void *const *>(b));
        if (order == 0) continue;
        const bool descending = word && quill::compare_ignoring_case(word, "desc") == 0;
        return descending ? static_cast<int>(0u - static_cast<uint32_t>(order)) : order;
    }
    return 0;
}

// Sorts with qsort, because wrapped differences are not a strict weak order. std::sort may then access memory outside
// the array.
void sort_results(const smss_ctx &context) {
    if (pairs(context.sort_words) == 0 || context.result_count < 2) return;
    sorted_query = &context;
    qsort(context.results, static_cast<size_t>(context.result_count), sizeof *context.results, compare_objects);
    sorted_query = nullptr;
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
