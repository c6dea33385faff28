// The error stack: what it keeps, what it shares, and its dump file.
#include "KivUtility.h"

#include "crowd.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <tuple>

namespace {

namespace fs = std::filesystem;

constexpr KivES_ERR_TYPE kType{5};

// All records, one line each.
std::string Of(const CKivErrorStack& stack) {
    std::ostringstream lines;
    KivES_ERR_TYPE     type{};
    unsigned long      rc  = 0;
    int                oEC = 0, index = 0;
    for (char* msg = nullptr; stack.GetErrMsg(index, type, rc, oEC, msg) == 1; ++index)
        lines << type << ' ' << rc << ' ' << oEC << ' ' << msg << '\n';
    EXPECT_EQ(stack.GetErrMsgCount(), index);
    return lines.str();
}

// The messages alone, of one letter each.
std::string Text(const CKivErrorStack& stack) {
    std::string text = Of(stack);
    std::erase_if(text, [](char c) { return c < 'a' || c > 'z'; });
    return text;
}

void Add(CKivErrorStack& stack, const std::string& letters) {
    for (const char letter : letters) stack.AddErrMsg(kType, 1, 2, std::string(1, letter).c_str());
}

std::string g_reports;

struct ErrorStack : testing::Test {
    ErrorStack() {
        g_reports.clear();
        KivSetPopUpHandler([](const char*, const char* text) { g_reports += text; });
    }

    ~ErrorStack() override { KivSetPopUpHandler(nullptr); }

    test::TempFolder folder;
};

TEST_F(ErrorStack, KeepsTheNewestRecords) {
    const std::tuple<int, const char*, const char*> rows[] = {{3, "abc", "abc"}, {3, "abcde", "cde"},
                                                              {0, "a", "a"},     {0, "ab", ""},
                                                              {0, "abc", "c"},   {-7, "ab", ""}};
    for (const auto& [capacity, added, kept] : rows) {
        CKivErrorStack stack(capacity);
        Add(stack, added);
        EXPECT_EQ(Text(stack), kept) << capacity;
    }

    struct Derived : CKivErrorStack {
        using CKivErrorStack::ChopHeadRecord;
    } stack;

    for (int i = 0; i < 257; ++i) stack.AddErrMsg(kType, 0xFFFFFFFF, -i, nullptr);
    EXPECT_TRUE(Of(stack).starts_with("5 4294967295 -1 \n"));
    KivES_ERR_TYPE type{};
    unsigned long  rc  = 0;
    int            oEC = 0;
    char*          msg = nullptr;
    while (stack.GetErrMsg(-1, type, rc, oEC, msg) == 1) stack.ChopHeadRecord();
    EXPECT_EQ(g_reports + std::to_string(oEC), "-256");
    stack.ChopHeadRecord();
    EXPECT_EQ(g_reports, "errStack(165) : m_errMsgCount Failed");
}

TEST_F(ErrorStack, ExplainsCausesAndSeparatesChains) {
    CKivErrorStack stack;
    std::string    expected;
    for (const unsigned long rc : {0UL, 5UL}) {
        for (const unsigned long cause : {0UL, 2UL, 3UL, 103UL, 104UL, 6000UL, 6001UL, 7013UL}) {
            const CKivString text = cause < 104 ? KivGetStrRes(int(cause)) : KivFindNetErrorMsg(cause);
            EXPECT_EQ(stack.ExpandErrMsg(kType, rc, cause, 10, "x"), 1);
            if (cause > 2)
                expected += "5 " + std::to_string(cause) + " 10 " + static_cast<const char*>(text) + '\n';
            if (rc != 0) expected += "5 5 " + std::to_string(cause) + " x\n";
        }
    }
    EXPECT_TRUE(Of(stack) == expected && stack.GetHighestErrType() == 5) << Of(stack);
    stack.AddBreak();
    stack.AddErrMsg(KivES_ERR_TYPE{-3}, 0, 0, "");
    EXPECT_EQ(Of(stack), expected + "1 0 0 break\n-3 0 0 \n");
    EXPECT_EQ(stack.GetHighestErrType(), 0);
}

TEST_F(ErrorStack, IsSharedByCopiesAndCopiedByAssignment) {
    const std::string dump = folder.Path("dump"), other = folder.Path("other");
    CKivErrorStack    stack(6), assigned(2);
    {
        CKivErrorStack copy(stack);
        Add(copy, "abc");
        EXPECT_EQ(copy.OpenLog(dump.c_str()) + assigned.OpenLog(other.c_str()), 2);
    }
    assigned = stack;
    EXPECT_EQ(assigned.GetHighestErrType(), 5);
    Add(stack, "d"), Add(assigned, "e");
    EXPECT_TRUE(fs::file_size(dump) > 0 && fs::file_size(other) == 0);
    EXPECT_EQ(Text(stack) + "|" + Text(assigned), "abcd|ce");
    const CKivErrorStack copy(stack);
    stack = copy;
    EXPECT_EQ(stack.AppendErrStack(&copy) + stack.AppendErrStack(&assigned) + stack.AppendErrStack(nullptr),
              2);
    EXPECT_EQ(Text(stack) + g_reports, "caccce");
    EXPECT_EQ(assigned.AppendErrStack(&assigned), 1);
    EXPECT_EQ(Text(assigned) + g_reports, "ccerrStack(175) : this!=pErrStack Failed");
    stack.Reset();
    EXPECT_EQ(copy.GetErrMsgCount() + copy.GetHighestErrType(), 0);
}

TEST_F(ErrorStack, DumpsALineARecordOverWhatTheFileHeld) {
    const fs::path before = fs::current_path();
    fs::current_path(folder.Path(""));
    fs::create_directory("errDump00001.dat"); // a name is taken, whatever has it
    for (const char* name : {"errDump00003.dat", "named"}) std::ofstream(name) << std::string(200, 'x');
    CKivErrorStack stack;
    EXPECT_EQ(stack.OpenLog("missing/folder") + stack.OpenLog("named"), 1);
    stack.AddErrMsg(kType, 0xFFFFFFFF, -7, "a b");
    auto text = test::ReadWholeText("named");
    for (char& c : text) c = c >= '0' && c <= '9' ? '#' : c;
    const std::string line = "##/##/## : ##:##:## : Type=#\tKivRc=-#\toEC=-#\tMsg=a b\n";
    EXPECT_EQ(text, line + std::string(200 - line.size(), 'x'));
    EXPECT_EQ(stack.OpenLog(nullptr) + stack.CloseLog() + stack.OpenLog(""), 3);
    stack.AddBreak();
    stack.Reset();
    stack.AddBreak();
    EXPECT_EQ(fs::file_size("errDump00002.dat"), 0U);
    EXPECT_TRUE(test::ReadWholeText("errDump00004.dat").ends_with(" : Type=1\tKivRc=0\toEC=0\tMsg=break\n"));
    fs::current_path(before);
}

// Two stacks and a copy of one, filled, assigned crosswise and read at once.
TEST_F(ErrorStack, IsFilledAndCopiedByManyThreads) {
    CKivErrorStack   a(20), b(30), c(a);
    std::atomic<int> added = 0;
    test::Start(8, [&](int thread) {
        CKivErrorStack &mine = thread % 2 == 0 ? a : b, &other = thread % 2 == 0 ? b : c;
        for (int i = 0; i < 1000; ++i) {
            added += mine.ExpandErrMsg(kType, 5, 6001, i, "a text that is longer than any small buffer");
            if (i % 50 == thread) mine = other;
            if (i % 50 == thread + 10) mine.AppendErrStack(&other);
            CKivErrorStack(mine).GetHighestErrType();
        }
    }).clear(); // which waits for their end
    EXPECT_TRUE(added == 8000 && a.GetErrMsgCount() <= 20 && b.GetErrMsgCount() <= 30);
}

} // namespace
