// Both readers of the codec. The checked reader gets any bytes. The unchecked reader must give the same results for
// what the checked one accepts, and writing the values must give the same bytes.
#include "fuzz/fuzz.h"
#include "support/codec_model.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    quill::fuzz::Input input(data, size);
    std::vector<std::pair<unsigned, unsigned>> steps;  // kind, capacity
    for (unsigned n = input.below(16); n > 0; n--) {
        const unsigned kind = input.below(16);
        steps.emplace_back(kind, input.below(64));
    }
    const std::vector<uint8_t> message = input.rest();
    uint32_t at = 0;
    for (const auto &[which, capacity_code] : steps) {
        if (which >= quill::test::kinds().size()) {
            at += which;  // also beyond the end
            continue;
        }
        const quill::test::Kind &kind = quill::test::kinds()[which];
        quill::test::expect_answers(kind, message, at, capacity_code == 63 ? 4000 : capacity_code);
        at += quill::test::place_of(kind, message, at).consumed;  // to the next element
    }
    return 0;
}
