// Attacks the readers of short texts: media URLs, base64, hexadecimal digits.
#include "KivUtility.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// What was decoded is encoded as the same text, but for the case of digits.
template <class Encode, class Decode>
void DecodeAndEncode(const std::string& text, Encode encode, Decode decode) {
    CKivDynaBuffer bytes;
    CKivString     again;
    if (decode(text.c_str(), bytes) == 0) return;
    if (encode(bytes.GetBufferPtr(), static_cast<unsigned long>(bytes.GetSize()), again) == 0) std::abort();
    if (std::strlen(again) != std::strlen(text.c_str())) std::abort();
    if (encode == KivEncodeBase64 && again != text.c_str()) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    DecodeAndEncode(text, KivEncodeBase64, KivDecodeBase64);
    DecodeAndEncode(text, KivEncodeHex, KivDecodeHex);

    Kiv_URL_KEY  url;
    Kiv_FILE_KEY file;
    const bool   isUrl = KivParseKivUrl(text.c_str(), url) == 1;
    // a key has less room, as host and port share a field
    if (!isUrl && KivParseKivUrl(text.c_str(), file) == 1) std::abort();
    if (isUrl && (std::strstr(url.path, "/../") != nullptr || url.path[0] != '/')) std::abort();
    return 0;
}
