// kiv record: shows what is in packed management records, and makes such records.
#include "KivUtility.h"
#include "bytesource.h"
#include "commands.h"
#include "console.h"
#include "jsonobjects.h"
#include "names.h"
#include "outputfile.h"
#include "platform/paths.h"
#include "recordjson.h"
#include "recordlist.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace {

using namespace tool;
using Bytes = std::vector<unsigned char>;

constexpr std::size_t kBlockBytes = 1 << 16;

struct Options {
    std::string record;
    std::string input     = "-";
    std::string output    = "-";
    bool        hostOrder = false;
    bool        json      = false;

    ByteOrder Order() const { return hostOrder ? ByteOrder::Host : ByteOrder::Network; }
};

// The type of that name; one that differs in upper and lower case where it is the only one. Throws.
const KivRecordType& FindType(const std::string& name) {
    if (const KivRecordType* type = KivFindRecordType(name.c_str())) return *type;
    const auto isMeant = [&](const KivRecordType* type) { return LowerCase(type->name) == LowerCase(name); };
    const auto types   = KivGetRecordTypes();
    const auto found   = std::ranges::find_if(types, isMeant);
    if (std::ranges::count_if(types, isMeant) == 1) return **found;
    throw std::runtime_error(Shown(platform::FromNarrow(name))
                             + ": there is no such record; \"kiv record list\" shows those that there are");
}

int List(const Options& options) {
    std::vector<const KivRecordType*> types;
    if (options.record.empty())
        types.assign(KivGetRecordTypes().begin(), KivGetRecordTypes().end());
    else
        types = {&FindType(options.record)};
    if (options.json) {
        for (const KivRecordType* type : types) Print(JsonLine(RecordTypeJson(*type)));
    } else {
        Print(options.record.empty() ? RecordTypeTable() : RecordFieldTable(*types.front()));
    }
    return kExitDone;
}

std::size_t SizeOf(const KivRecordType& type) { return static_cast<std::size_t>(type.wireSize); }

// Prints the whole records at the front of `bytes`; returns the bytes that they take.
std::size_t PrintRecords(const KivRecordType& type, std::span<const unsigned char> bytes, ByteOrder order) {
    std::string lines;
    std::size_t at = 0;
    for (; bytes.size() - at >= SizeOf(type); at += SizeOf(type)) {
        AppendRecordJson(lines, type, bytes.subspan(at), order);
        lines += '\n';
    }
    if (!lines.empty()) Print(lines);
    return at;
}

int Decode(const Options& options) {
    const KivRecordType& type = FindType(options.record);
    ByteSource           source(options.input);
    Bytes                block(kBlockBytes); // more than the longest record
    std::size_t          held    = 0;        // bytes in the block
    bool                 isEmpty = true;
    while (const std::size_t more = source.Read(std::span(block).subspan(held))) {
        held += more;
        const std::size_t done = PrintRecords(type, std::span(block).first(held), options.Order());
        std::copy(block.data() + done, block.data() + held, block.data());
        held -= done;
        isEmpty = false;
    }
    if (!isEmpty && held == 0) return kExitDone;
    ReportProblem(source.Shown(), isEmpty ? "is empty"
                                          : std::to_string(held) + " bytes are left over, and a record has "
                                                + std::to_string(type.wireSize));
    return kExitNotValid;
}

// The packed records that are written. Nothing goes to standard output before all of them are there, for
// nothing that went there can be taken back.
class RecordOutput {
public:
    explicit RecordOutput(const std::string& name) : m_file(name), m_holds(IsStandardOutput(name)) {}

    void Write(const Bytes& record) {
        if (m_holds)
            m_held.insert(m_held.end(), record.begin(), record.end());
        else
            m_file.Write(record.data(), record.size());
    }

    void Commit() {
        if (m_holds) m_file.Write(m_held.data(), m_held.size());
        m_file.Commit();
    }

private:
    OutputFile m_file;
    bool       m_holds;
    Bytes      m_held;
};

Bytes Pack(const nlohmann::json& object, const KivRecordType& type, const Options& options,
           const JsonObjects& objects) {
    Bytes record(SizeOf(type));
    try {
        PackRecordJson(object, type, record, options.Order());
    } catch (const FieldError& error) {
        objects.Fail(error.what());
    }
    return record;
}

int Encode(const Options& options) {
    const KivRecordType& type = FindType(options.record);
    ByteSource           source(options.input);
    if (options.input != "-" && IsSameFile(platform::FromNarrow(options.input), options.output)) {
        throw std::runtime_error(source.Shown() + ": is the output as well");
    }
    RecordOutput output(options.output);
    JsonObjects  objects(source);
    bool         isEmpty = true;
    while (const auto object = objects.Next()) {
        output.Write(Pack(*object, type, options, objects));
        isEmpty = false;
    }
    if (isEmpty) throw std::runtime_error(source.Shown() + ": holds no record");
    output.Commit();
    return kExitDone;
}

constexpr char kFooter[] =
    R"(A packed record is its fields one after another without a gap, as a server or a console sends it.

Examples:
  kiv record list
  kiv record decode Kiv_EVENTLOG_INFO events.bin
  kiv record encode Kiv_EVENTLOG_INFO events.jsonl -o events.bin)";

constexpr char kListFooter[] =
    R"(KIND is unsigned, signed, text or record. ORDER tells how a number travels: network, most significant byte
first; sender, as it lies in the sender's memory; low16, a number of 16 bits in network order, then two zeros.

Exit status: 0 done, 2 there is no such record.

Example:
  kiv record list Kiv_STM_TARGET)";

constexpr char kDecodeFooter[] =
    R"(A text is a string where it is UTF-8 with nothing but zeros behind it, else {"hex": "..."} with all its bytes.
A number of order low16 is the value of its first two bytes, and 65536 times that of the other two.

Exit status: 0 done, 1 the input is empty or ends within a record, 2 it could not be read.

Example:
  kiv record decode Kiv_EVENTLOG_INFO events.bin)";

constexpr char kEncodeFooter[] =
    R"(The objects stand one after another, in lines of their own or not, or in one array. A field that is not given is
zero, and so is what a shorter text, "hex" or array leaves. When anything is wrong, nothing is written.

Exit status: 0 done, 2 the input is not right or could not be read, or OUT could not be written.

Example:
  echo '{"sessionId": 7, "fileId": 1}' | kiv record encode Kiv_FILE_HANDLE -o handle.bin)";

} // namespace

void AddRecordCommand(CLI::App& app, int& exitStatus) {
    CLI::App* record =
        app.add_subcommand("record", "Shows and makes the management records that servers exchange");
    record->require_subcommand(1);
    record->footer(kFooter);

    const auto options = std::make_shared<Options>(); // one for all: only one of the subcommands runs
    const auto add = [&](const char* name, const char* what, const char* footer, int (*run)(const Options&)) {
        CLI::App* command = record->add_subcommand(name, what);
        command->footer(footer);
        command->callback([options, run, &exitStatus] { exitStatus = run(*options); });
        return command;
    };
    const auto addRecord = [&](CLI::App* command, const char* what) {
        return command->add_option("RECORD", options->record, what)->type_name("");
    };
    const auto addInput = [&](CLI::App* command, const char* what) {
        addRecord(command, "The record's type, in upper or lower case")->required();
        command->add_option("FILE", options->input, what)->type_name("");
        command->add_flag("--host-order", options->hostOrder,
                          "Numbers are as they lie in this machine's memory, not in network order");
    };

    CLI::App* list = add("list", "Lists the record types, or the fields of one", kListFooter, List);
    addRecord(list, "A record type");
    list->add_flag("--json", options->json, "Prints one JSON object a record type and line");

    CLI::App* decode = add("decode", "Prints packed records as JSON, one a line", kDecodeFooter, Decode);
    addInput(decode, "Packed records; standard input unless given, or when it is -");

    CLI::App* encode = add("encode", "Packs records that are given as JSON", kEncodeFooter, Encode);
    addInput(encode, "JSON objects; standard input unless given, or when it is -");
    encode
        ->add_option("-o,--output", options->output,
                     "The file to write; standard output unless given, or when it is -")
        ->type_name("OUT");
}
