// Packed management records as JSON, and back, by the library's description of them alone.
//
// A record is an object of its fields in the order of the wire, an array is an array, a number is a number.
// A text is a string where nothing but zeros stands behind it and it is UTF-8; else {"hex": "..."} with all
// bytes of its array. So every sequence of bytes has a JSON form of its own, which gives the same bytes back.
#ifndef KIVTOOL_RECORDJSON_H
#define KIVTOOL_RECORDJSON_H

#include "KivUtility.h"

#include <nlohmann/json_fwd.hpp>
#include <span>
#include <stdexcept>
#include <string>

namespace tool {

// How the numbers of a packed record lie. Those that are never converted are least significant byte first in
// either.
enum class ByteOrder {
    Network, // of a record that was converted with toNetByteOrder()
    Host     // of one that was not: least significant byte first on every machine that there is
};

// A value that does not fit its field: "path.of.the.field: REASON".
class FieldError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Appends the JSON object of the record in the first type.wireSize bytes to `out`, in one line without its
// end.
void AppendRecordJson(std::string& out, const KivRecordType& type, std::span<const unsigned char> bytes,
                      ByteOrder order);

// Sets the fields that the object names in the first type.wireSize bytes, which are zero, and leaves the
// others. Throws FieldError.
void PackRecordJson(const nlohmann::json& object, const KivRecordType& type, std::span<unsigned char> bytes,
                    ByteOrder order);

} // namespace tool

#endif
