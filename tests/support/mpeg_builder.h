// Builds MPEG streams byte by byte, for tests that need to know where everything lies.
#ifndef KIVUTILITY_TESTS_MPEG_BUILDER_H
#define KIVUTILITY_TESTS_MPEG_BUILDER_H

#include "KivUtility.h"

#include <algorithm>
#include <initializer_list>
#include <vector>

namespace test {

using Bytes = std::vector<unsigned char>;

class MpegBuilder {
public:
    const Bytes& Get() const { return m_bytes; }

    std::size_t Size() const { return m_bytes.size(); }

    MpegBuilder& Add(std::initializer_list<int> bytes) {
        Bytes added(bytes.size());
        std::ranges::transform(bytes, added.begin(),
                               [](int byte) { return static_cast<unsigned char>(byte); });
        return Add(added);
    }

    MpegBuilder& Add(const Bytes& bytes) {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return *this;
    }

    // n bytes that hold no code
    MpegBuilder& Fill(std::size_t n, unsigned char byte = 0xFF) { return Add(Bytes(n, byte)); }

    MpegBuilder& Code(int lastByte) { return Add({0, 0, 1, lastByte}); }

    // ISO/IEC 11172-1, 2.4.3.2
    MpegBuilder& Mpeg1Pack(int firstByte = 0x21) {
        return Code(0xBA).Add({firstByte, 0, 1, 0, 1, 0x80, 0x10, 0x01});
    }

    // ISO/IEC 13818-1, 2.5.3.3, with stuffing
    MpegBuilder& Mpeg2Pack(int stuffing = 0) {
        Code(0xBA).Add({0x44, 0, 4, 0, 4, 1, 1, 0x89, 0xC3, 0xF8 | stuffing});
        return Fill(static_cast<std::size_t>(stuffing));
    }

    // Lists the given stream ids.
    MpegBuilder& SystemHeader(std::initializer_list<int> ids) {
        Code(0xBB).Add({0, static_cast<int>(6 + 3 * ids.size()), 0x80, 1, 1, 0x04, 0x21, 0x7F});
        for (const int id : ids) Add({id, 0xE0, 0x20});
        return *this;
    }

    // 720 x 576, 25 frames a second; matrices as asked
    MpegBuilder& Sequence(bool intra = false, bool nonIntra = false) {
        Code(0xB3).Add({0x2D, 0x02, 0x40, 0x33, 0x09, 0xC4, 0x20});
        if (!intra) return Add({nonIntra ? 1 : 0}).Fill(nonIntra ? 64 : 0, 0x10);
        // the matrix begins with the last bit of this byte
        return Add({2}).Fill(63, 0x10).Add({nonIntra ? 0x11 : 0x10}).Fill(nonIntra ? 64 : 0, 0x10);
    }

    // sequence_extension, ISO/IEC 13818-2, 6.2.2.3
    MpegBuilder& SequenceExtension() { return Code(0xB5).Add({0x14, 0x8A, 0, 1, 0, 0}); }

    // A group of pictures header with its time code, closed.
    MpegBuilder& Group(unsigned hours, unsigned minutes, unsigned seconds, unsigned picture = 0) {
        const std::size_t at = m_bytes.size();
        Code(0xB8).Fill(4, 0);
        const auto put = [&](unsigned bit, int n, unsigned value) {
            KivSetBufferBits(m_bytes.data() + at, 32 + bit, n, value);
        };
        put(1, 5, hours);
        put(6, 6, minutes);
        put(12, 1, 1);
        put(13, 6, seconds);
        put(19, 6, picture);
        put(25, 1, 1);
        return *this;
    }

    MpegBuilder& Picture() { return Code(0x00).Add({0x00, 0x0F, 0xFF, 0xF8}); }

    // A PES packet, ISO/IEC 13818-1, 2.4.3.6, whose header ends with `fields`: nothing, or a time stamp
    // first. Its length field is off by `lengthError`.
    MpegBuilder& Pes(int id, const Bytes& fields, const Bytes& payload, int lengthError = 0) {
        const int length = static_cast<int>(3 + fields.size() + payload.size()) + lengthError;
        Code(id).Add({length >> 8, length & 0xFF, 0x80, fields.empty() ? 0 : 0x80});
        return Add({static_cast<int>(fields.size())}).Add(fields).Add(payload);
    }

    // MPEG-2 layer III, 8 kbit/s at 24 kHz: 48 bytes.
    MpegBuilder& AudioFrame(unsigned char filling = 0x55) {
        return Add({0xFF, 0xF3, 0x14, 0xC0}).Fill(44, filling);
    }

    // A transport packet of the PID with the given payload; with an adaptation field of `adaptation` bytes
    // where that is not negative.
    MpegBuilder& TransportPacket(unsigned pid, bool start, const Bytes& payload, int adaptation = -1) {
        const std::size_t end = m_bytes.size() + 188;
        Add({0x47, static_cast<int>(pid >> 8) | (start ? 0x40 : 0), static_cast<int>(pid & 0xFF),
             adaptation < 0 ? 0x10 : 0x30});
        if (adaptation >= 0) Add({adaptation}).Fill(static_cast<std::size_t>(adaptation), 0);
        Add(payload);
        return Fill(end - m_bytes.size());
    }

private:
    Bytes m_bytes;
};

} // namespace test

#endif
