// The event poster, with a console window and with the log file.
#include "console_window.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr unsigned int kMessage = 0x8001; // in the range that Windows leaves to programs

std::string X(std::size_t count) { return std::string(count, 'x'); }

Kiv_EVENTLOG_INFO Event(Kiv_EVENT_TYPE type, int id, std::uint32_t time, const std::string& text) {
    Kiv_EVENTLOG_INFO event{};
    event.eventType = static_cast<std::uint32_t>(type);
    event.eventId   = id;
    event.time      = time;
    text.copy(event.text, sizeof event.text);
    return event;
}

// What a message held, copied before the message was disposed of.
struct Received {
    unsigned int         id;
    Kiv_SPMSG_TYPE       type;
    int                  number  = 0;
    std::string          text    = {};
    Kiv_EVENTLOG_INFO    event   = {};
    Kiv_STM_SESSION_INFO session = {};
};

std::optional<Received> Receive(test::ConsoleWindow& window, int timeoutMs = 0) {
    const auto message = window.Next(timeoutMs);
    if (!message) return std::nullopt;
    const auto& envelope = *reinterpret_cast<const Kiv_SPMSG_ENVELOPE*>(message->wParam);
    const auto* block    = reinterpret_cast<const void*>(envelope.payload);
    Received    received{message->id, envelope.type};
    switch (envelope.type) {
    case Kiv_SPMSG_INT: received.number = static_cast<int>(envelope.payload); break;
    case Kiv_SPMSG_STRING: received.text = static_cast<const char*>(block); break;
    case Kiv_SPMSG_EVENTLOG: received.event = *static_cast<const Kiv_EVENTLOG_INFO*>(block); break;
    case Kiv_SPMSG_SESSION: received.session = *static_cast<const Kiv_STM_SESSION_INFO*>(block); break;
    }
    EXPECT_EQ(message->lParam, 0);
    CSvrPostMsg::DisposeMsg(message->wParam);
    return received;
}

// A console whose window is registered with the poster of the process.
struct Console : testing::Test {
    Console() { g_theSvrPostMsg.Register(window->Handle(), kMessage); }

    ~Console() override {
        KivSetPopUpHandler(nullptr);
        g_theSvrPostMsg.UnRegister();
        while (Fetch()) {
        }
    }

    std::optional<Received> Fetch(int timeoutMs = 0) { return Receive(*window, timeoutMs); }

    std::vector<std::string> FetchEventTexts() {
        std::vector<std::string> texts;
        while (const auto received = Fetch()) texts.emplace_back(received->event.text);
        return texts;
    }

    // Without the blanks in front of the pieces.
    std::string FetchJoinedText() {
        std::string joined;
        for (const auto& text : FetchEventTexts()) joined += text.substr(1);
        return joined;
    }

    std::unique_ptr<test::ConsoleWindow> window = test::OpenConsoleWindow();
};

TEST_F(Console, ReceivesEveryKindOfMessageAsItWasWhenPosted) {
    for (const int value : {0, 5, -5, INT_MAX, INT_MIN}) {
        EXPECT_EQ(g_theSvrPostMsg.PostMsg(value), 1);
        const auto received = Fetch();
        ASSERT_TRUE(received);
        EXPECT_TRUE(received->id == kMessage && received->type == Kiv_SPMSG_INT && received->number == value)
            << value;
    }
    char text[]  = "text";
    auto known   = Event(kKivEvent_Warning, -7, 12345, "known"),
         undated = Event(kKivEvent_Error, 8, 0, "undated");
    Kiv_STM_SESSION_INFO session{};
    session.sessionId = 4711, session.position = 1ULL << 40, session.clientName[63] = 'z';
    const auto before = static_cast<std::uint32_t>(std::time(nullptr));
    EXPECT_EQ(g_theSvrPostMsg.PostMsg(text) + g_theSvrPostMsg.PostMsg(&known)
                  + g_theSvrPostMsg.PostMsg(&undated) + g_theSvrPostMsg.PostMsg(&session),
              4);
    EXPECT_EQ(undated.time, 0U);
    text[0] = '?', known = {}, session = {};

    EXPECT_EQ(Fetch()->text, "text");
    const auto event = Fetch()->event;
    EXPECT_TRUE(event.eventId == -7 && event.eventType == kKivEvent_Warning && event.time == 12345);
    EXPECT_STREQ(event.text, "known");
    EXPECT_GE(Fetch()->event.time, before);
    const auto copy = Fetch()->session;
    EXPECT_TRUE(copy.sessionId == 4711 && copy.position == 1ULL << 40 && copy.clientName[63] == 'z');
    CSvrPostMsg::DisposeMsg(0);
    EXPECT_EQ(g_theSvrPostMsg.PostMsg(static_cast<const char*>(nullptr)), 0);
}

TEST_F(Console, CutsTheTextOfAnEventIntoPieces) {
    using Pieces                                     = std::vector<std::string>;
    std::vector<std::pair<std::string, Pieces>> rows = {
        {"", {""}},
        {"\n", {""}},
        {"short, with. breaks", {"short, with. breaks"}},
        {"one\n", {"one"}},
        {"two\n\n", {"two\n"}},
        {X(60), {X(60)}},
        {X(60) + "\n", {X(60)}},
        {X(61), {X(60), "x"}},
        {X(150), {X(60), X(60), X(30)}},
        {X(59) + " y", {X(59) + " ", "y"}},
        {X(60) + " y", {X(60), " y"}},
        {"a b c" + X(59), {"a b ", "c" + X(59)}},
        {"a " + X(60) + " b " + X(60), {"a ", X(60), " b ", X(60)}}};
    for (const char c : {' ', '\t', ',', '.'})
        rows.push_back({"aa" + (c + X(60)), {std::string("aa") + c, X(60)}});
    for (auto& [text, pieces] : rows) {
        for (auto& piece : pieces) piece.insert(0, 1, ' ');
        EXPECT_EQ(Kiv_RaiseEvent(kKivSys_StreamingFs, 1, kKivEvent_Error, text.c_str()), 1);
        EXPECT_EQ(FetchEventTexts(), pieces) << text;
    }
    Kiv_RaiseEvent(kKivSys_StreamingFs, 1, kKivEvent_Error, nullptr);
    EXPECT_EQ(FetchEventTexts(), Pieces{" "});

    g_theSvrPostMsg.PostEvent(kKivSys_StreamingFs, -3, kKivEvent_Warning, X(61).c_str(), 777);
    for (int piece = 0; piece < 2; ++piece) {
        const auto event = Fetch()->event;
        EXPECT_TRUE(event.subsystem == kKivSys_StreamingFs && event.eventId == -3
                    && event.eventType == kKivEvent_Warning && event.time == 777 && event.reserved == 0);
    }
}

TEST_F(Console, IsToldWhenAnotherTakesItsPlaceOrNobodyDoes) {
    g_theSvrPostMsg.Register(window->Handle(), kMessage);
    EXPECT_FALSE(Fetch());
    g_theSvrPostMsg.Register(window->Handle(), kMessage + 1);
    auto told = Fetch();
    ASSERT_TRUE(told);
    EXPECT_TRUE(told->id == kMessage && told->text == "Kiv_SvrPostMsg_Register change hWnd & msgId")
        << told->text;

    EXPECT_FALSE(Fetch());

    const auto other = test::OpenConsoleWindow();
    g_theSvrPostMsg.Register(other->Handle(), kMessage + 1);
    told = Fetch();
    EXPECT_TRUE(told && told->id == kMessage + 1);
    EXPECT_FALSE(Receive(*other));
    g_theSvrPostMsg.UnRegister();
    told = Receive(*other);
    ASSERT_TRUE(told);
    EXPECT_EQ(told->text, "Kiv_SvrPostMsg_UnRegister called");
    EXPECT_EQ(g_theSvrPostMsg.PostMsg(1), 0);
    EXPECT_FALSE(Receive(*other));

    g_theSvrPostMsg.Register(other->Handle(), 0);
    EXPECT_EQ(Kiv_RaiseEvent(kKivSys_Unknown, 1, kKivEvent_Error, "no message id"), 0);
    g_theSvrPostMsg.Register(nullptr, kMessage);
    EXPECT_EQ(g_theSvrPostMsg.PostMsg("no window"), 0);
}

TEST_F(Console, GetsNothingOnceItsWindowIsGone) {
    window.reset();
    const auto other = test::OpenConsoleWindow(); // must not pass for the one before
    EXPECT_EQ(g_theSvrPostMsg.PostMsg(1) + g_theSvrPostMsg.PostMsg("text"), 0);
    EXPECT_EQ(Kiv_RaiseEvent(kKivSys_Unknown, 1, kKivEvent_Error, X(100).c_str()), 0);
    EXPECT_FALSE(Receive(*other));
    window = test::OpenConsoleWindow();
}

TEST_F(Console, ReceivesEveryEventOfManyThreadsInEachOnesOrder) {
    constexpr int            kThreads = 8, kEvents = 100000;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 0; i < kEvents; ++i) {
                while (Kiv_RaiseEvent(Kiv_SUBSYSTEM(thread), i, kKivEvent_Information, "load") == 0) {
                    std::this_thread::yield(); // the queue is full
                }
            }
        });
    }
    std::array<int, kThreads> next{};
    int                       late = 0;
    for (int i = 0; i < kThreads * kEvents; ++i) {
        const auto received = Fetch(60000);
        if (!received) break;
        late += received->event.eventId != next.at(received->event.subsystem)++;
    }
    for (auto& thread : threads) thread.join();
    EXPECT_TRUE(late == 0 && std::ranges::count(next, kEvents) == kThreads)
        << late << testing::PrintToString(next);
    EXPECT_FALSE(Fetch());
}

std::string g_shown;

TEST_F(Console, IsToldWhereInTheSourceAReportWasRaised) {
    struct Row {
        const char* file;
        const char* text;
        int         code;
        std::string report;
        int         id;
    };

    const std::string longText(2000, 'y'), text2(KivGetStrRes(2)), text20(KivGetStrRes(20));
    const Row         rows[] = {{"common/KivUtility/MpgConcat", "x Failed", 0, "MpgConcat(-7) : x Failed", 2},
                                {"common\\KivUtility\\errStack", "x", 9, "errStack(-7) : x", 9},
                                {"a/b\\c", "x", 9, "c(-7) : x", 9},
                                {"a\\b/c", "x", 9, "c(-7) : x", 9},
                                {"folder/", "x", 9, "(-7) : x", 9},
                                {nullptr, "x", 9, "(-7) : x", 9},
                                {"plain", nullptr, 0, "plain(-7) : " + text2, 2},
                                {"plain", "", 20, "plain(-7) : " + text20, 20},
                                {"plain", longText.c_str(), 9, ("plain(-7) : " + longText).substr(0, 1023), 9}};
    KivSetPopUpHandler(
        [](const char* title, const char* text) { g_shown = title + std::string("|") + text; });
    for (const auto& row : rows) {
        for (const int popUp : {0, 1}) {
            g_shown.clear();
            Kiv_RaiseWEmsg(kKivEvent_Warning, row.file, -7, row.code, row.text, popUp);
            EXPECT_EQ(g_shown, popUp != 0 ? "PopUp Error|" + row.report : "");
            const auto first = Fetch();
            ASSERT_TRUE(first);
            EXPECT_TRUE(first->event.subsystem == 0 && first->event.eventId == row.id
                        && first->event.eventType == kKivEvent_Warning);
            EXPECT_EQ(std::string(first->event.text).substr(1) + FetchJoinedText(), row.report);
        }
    }
    g_theSvrPostMsg.UnRegister();
    Kiv_RaiseWEmsg(kKivEvent_Error, "nobody", 1, 1, "listens", 1);
    EXPECT_EQ(g_shown, "PopUp Error|nobody(1) : listens");
}

TEST(LogFile, TakesAsLinesTheEventsThatHaveNoWindow) {
    const std::string path = KIV_PROGRAM_DIR "/LogFile.txt";
    std::ofstream(path) << "of an earlier run";
    std::string expected;
    {
        CSvrPostMsg poster;
        poster.EnableLogFile();
        // the first of January, too, wherever the machine stands
        for (const std::time_t time : {946728000, 1700000000}) {
            std::string date = std::ctime(&time);
            if (date[8] == '0') date[8] = ' '; // the Windows runtime's own way
            for (const auto& [type, name] :
                 {std::pair(1, "Info"), {2, "Warning"}, {3, "Error"}, {0, "Unknown"}, {4, "Unknown"}}) {
                const auto event = Event(Kiv_EVENT_TYPE(type), -type, static_cast<std::uint32_t>(time),
                                         std::string(64, 'e'));
                EXPECT_EQ(poster.PostMsg(&event), 1);
                expected += date.substr(0, date.size() - 1) + ", " + name + '(' + std::to_string(-type)
                            + ") : " + std::string(64, 'e') + '\n';
            }
        }
        EXPECT_EQ(test::ReadWholeText(path), expected);
        poster.EnableLogFile();
        const Kiv_STM_SESSION_INFO session{};
        EXPECT_EQ(poster.PostMsg(1) + poster.PostMsg("text") + poster.PostMsg(&session), 0);
        const auto window = test::OpenConsoleWindow();
        poster.Register(window->Handle(), kMessage);
        poster.PostMsg("to the window");
        poster.PostEvent(kKivSys_Unknown, 1, kKivEvent_Error, "to the window", 0);
        poster.UnRegister();
        while (Receive(*window)) {
        }
        EXPECT_EQ(poster.PostEvent(kKivSys_Unknown, 5, kKivEvent_Error, X(61).c_str(), -1), 1);
    }
    const auto written = test::ReadWholeText(path);
    EXPECT_EQ(written.substr(0, expected.size()), expected);
    const auto rest = written.substr(std::min(expected.size(), written.size()));
    EXPECT_NE(rest.find(" 2106, Error(5) :  " + X(60) + "\n"), std::string::npos) << rest;
    EXPECT_TRUE(rest.ends_with(" 2106, Error(5) :  x\n")) << rest;
    EXPECT_EQ(std::ranges::count(rest, '\n'), 2);
    EXPECT_TRUE(std::filesystem::remove(path));
}

} // namespace
