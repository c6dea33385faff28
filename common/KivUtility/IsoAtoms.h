// The atoms, or boxes, of MPEG-4 and QuickTime files (ISO/IEC 14496-12; QuickTime File Format): their types,
// and walking over them and over the tables in them.
#ifndef KIVUTILITY_ISOATOMS_H
#define KIVUTILITY_ISOATOMS_H

#include "ByteFields.h"
#include "StreamReader.h"

#include <optional>

namespace kiv::iso {

enum AtomType : std::uint32_t {
    // what every file of the family is built of
    kUuid = FourCc("uuid"),
    kMoov = FourCc("moov"),
    kMdat = FourCc("mdat"),
    kMvhd = FourCc("mvhd"),
    kTrak = FourCc("trak"),
    kTkhd = FourCc("tkhd"),
    kMdia = FourCc("mdia"),
    kMdhd = FourCc("mdhd"),
    kHmhd = FourCc("hmhd"),
    kEdts = FourCc("edts"),
    kMinf = FourCc("minf"),
    kDinf = FourCc("dinf"),
    kStbl = FourCc("stbl"),
    kFtyp = FourCc("ftyp"),
    // the tables of a track
    kHdlr = FourCc("hdlr"),
    kElst = FourCc("elst"),
    kStts = FourCc("stts"),
    kStsz = FourCc("stsz"),
    kStz2 = FourCc("stz2"),
    // fragments
    kMvex = FourCc("mvex"),
    kMehd = FourCc("mehd"),
    kTrex = FourCc("trex"),
    kMoof = FourCc("moof"),
    kTraf = FourCc("traf"),
    kTfhd = FourCc("tfhd"),
    kTfdt = FourCc("tfdt"),
    kTrun = FourCc("trun"),
    kSidx = FourCc("sidx"),
    // beside the movie, and a movie in compressed form
    kFree = FourCc("free"),
    kSkip = FourCc("skip"),
    kWide = FourCc("wide"),
    kPnot = FourCc("pnot"),
    kMeta = FourCc("meta"),
    kCmov = FourCc("cmov"),
};

struct Atom {
    std::uint32_t type;
    std::uint64_t begin; // of the content
    std::uint64_t end;   // at most that of what surrounds it
    bool          isCut; // it claims to end behind that
};

// The atoms between two offsets, one after the other.
class Atoms {
public:
    Atoms(StreamReader& reader, std::uint64_t begin, std::uint64_t end)
        : m_reader(reader), m_next(begin), m_end(end) {}

    Atoms(StreamReader& reader, const Atom& container) : Atoms(reader, container.begin, container.end) {}

    // Nothing behind the last one, and where a size is smaller than the header that holds it.
    std::optional<Atom> Next();

    // Whether Next gave nothing because the end cuts a header. Zeros are no header: they fill up files.
    bool EndsInHeader() const { return m_endsInHeader; }

private:
    StreamReader& m_reader;
    std::uint64_t m_next;
    std::uint64_t m_end;
    bool          m_endsInHeader = false;
};

// The first n bytes (1..StreamReader::kMost) of an atom's content, or as many as it has. Valid as
// StreamReader::At says.
ByteSpan ContentOf(StreamReader& reader, const Atom& atom, std::size_t n);

struct Table {
    std::uint64_t begin;      // of the first entry
    std::uint64_t end;        // of the atom
    std::uint64_t entryBytes; // at least 1
    std::uint64_t claimed;    // entries, as the file tells

    // Those that the atom has bytes for.
    std::uint64_t Entries() const { return begin < end ? std::min(claimed, (end - begin) / entryBytes) : 0; }
};

// The table of an atom whose entries begin `at` bytes into its content, with their number in front of them.
Table TableOf(StreamReader& reader, const Atom& atom, std::size_t at, std::size_t entryBytes);

// Calls `use` with the bytes of one entry after the other, reading the table in pieces. entryBytes: at most
// StreamReader::kMost.
template <class Use> void EachEntry(StreamReader& reader, const Table& table, Use use) {
    std::uint64_t at         = table.begin;
    const auto    entryBytes = static_cast<std::size_t>(table.entryBytes);
    for (std::uint64_t left = table.Entries(); left > 0;) {
        const ByteSpan bytes = reader.At(at, entryBytes);
        if (bytes.empty()) return; // the file became shorter
        const std::uint64_t here = std::min<std::uint64_t>(left, bytes.size() / entryBytes);
        for (std::size_t i = 0; i < here; ++i) use(bytes.subspan(i * entryBytes, entryBytes));
        at += here * entryBytes;
        left -= here;
    }
}

} // namespace kiv::iso

#endif
