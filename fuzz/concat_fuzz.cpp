// Attacks the splicing of files: a format, a header, then calls with the bytes that they are given.
#include "KivUtility.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
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

unsigned long long g_in = 0, g_out = 0; // bytes since the last header or rewinding

// Every delivery is exact or empty, and what is missing is said.
void Deliver(CMpegStreamConcatenator& concat, bool pull, Input piece, long wanted) {
    CKivDynaBuffer data    = Buffer(piece);
    const long     missing = pull ? concat.PullData(data, wanted) : concat.OutputData(data, wanted);
    const bool     refused = missing == 0 && data.GetSize() == static_cast<long>(piece.size()); // ASF header
    if (missing < 0 || missing > wanted) std::abort();
    if (data.GetSize() != (missing == 0 ? wanted : 0) && !refused) std::abort();
    g_in += piece.size();
    g_out += static_cast<unsigned long long>(data.GetSize());
}

// What went out, is pending or was dropped went in or was added: no byte is counted twice. It may be less,
// for some wait unseen for a place to join, and a place that is found clears what was pending before.
void CheckCounts(CMpegStreamConcatenator& concat) {
    constexpr long         kAll    = std::numeric_limits<long>::max();
    const KivSpliceCounts& counts  = concat.GetSpliceCounts();
    const auto             pending = static_cast<unsigned long long>(kAll - concat.CanPullData(kAll));
    const auto             dropped = counts.droppedEarly + counts.droppedAudio + counts.droppedVideo;
    const auto added = counts.headerBytes + counts.audioBytes + counts.filledBytes + counts.endBytes;
    if (g_out + pending + dropped > g_in + added || counts.rewritten > g_in) std::abort();
}

void Call(CMpegStreamConcatenator& concat, Input call, Input& input) {
    const long wanted = call[2];
    switch (call[0] % 16) {
    case 0:
        concat.Rewinded();
        g_in = g_out = 0;
        break;
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
        g_in = g_out = 0;
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
    g_in = g_out = 0;
    Input                   input(data, size);
    CMpegStreamConcatenator concat;
    if (size > 2) {
        const Input    begin = Take(input, 2);
        CKivDynaBuffer head  = Buffer(Take(input, begin[1]));
        concat.SetHeader(head, static_cast<Kiv_MEDIA_FORMAT_TYPE>(begin[0] % 28));
    }
    while (input.size() > kCallBytes) {
        Call(concat, Take(input, kCallBytes), input);
        CheckCounts(concat);
    }
    return 0;
}
