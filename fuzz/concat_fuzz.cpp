// Attacks the splicing of files: a format, a header, then calls with the bytes that they are given.
#include "KivUtility.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

namespace {

using Input = std::span<const std::uint8_t>;

// Takes up to n bytes off the front.
Input Take(Input& input, std::size_t n) {
    const Input taken = input.first(std::min(n, input.size()));
    input             = input.subspan(taken.size());
    return taken;
}

CKivDynaBuffer Buffer(Input bytes) { return {bytes.data(), static_cast<unsigned long>(bytes.size())}; }

// Every delivery is exact or empty, and what is missing is said.
void Deliver(CMpegStreamConcatenator& concat, bool pull, Input piece, long wanted) {
    CKivDynaBuffer data    = Buffer(piece);
    const long     missing = pull ? concat.PullData(data, wanted) : concat.OutputData(data, wanted);
    const bool     refused = missing == 0 && data.GetSize() == static_cast<long>(piece.size()); // ASF header
    if (missing < 0 || missing > wanted) std::abort();
    if (data.GetSize() != (missing == 0 ? wanted : 0) && !refused) std::abort();
}

void Call(CMpegStreamConcatenator& concat, Input call, Input& input) {
    const long wanted = call[2];
    switch (call[0] % 16) {
    case 0: concat.Rewinded(); break;
    case 1: concat.EndOfStream(); break;
    case 2: {
        CMpegStreamConcatenator copy(concat);
        concat.reset(call[1] & 1);
        concat = copy;
        break;
    }
    case 3: {
        CKivString text;
        concat.ReportStatus(text);
        if (concat.CanPullData(wanted) > wanted) std::abort();
        break;
    }
    case 4: {
        CKivDynaBuffer head = Buffer(Take(input, call[1]));
        concat.SetHeader(head, static_cast<Kiv_MEDIA_FORMAT_TYPE>(call[2] % 28));
        break;
    }
    case 5: Deliver(concat, false, Take(input, call[1]), wanted); break;
    case 6: Deliver(concat, true, Take(input, call[1] * std::size_t{256}), wanted * 256); break;
    default: Deliver(concat, true, Take(input, call[1]), wanted);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kCallBytes = 3;
    KivSetPopUpHandler([](const char*, const char*) {});
    Input                   input(data, size);
    CMpegStreamConcatenator concat;
    if (size > 2) {
        const Input    begin = Take(input, 2);
        CKivDynaBuffer head  = Buffer(Take(input, begin[1]));
        concat.SetHeader(head, static_cast<Kiv_MEDIA_FORMAT_TYPE>(begin[0] % 28));
    }
    while (input.size() > kCallBytes) Call(concat, Take(input, kCallBytes), input);
    return 0;
}
