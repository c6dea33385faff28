// The event poster, with a console window and with the log file.
#include "console_window.h"
#include "crowd.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <ctime>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

constexpr unsigned int kMessage = 0x8001; // in the range that Windows leaves to programs

using test::Receive, test::Received;
using Texts = std::vector<std::string>;

std::string X(std::size_t count) { return std::string(count, 'x'); }

// A console whose window is registered with the poster of the process.
struct Console : testing::Test {
    Console() { g_theSvrPostMsg.Register(window->Handle(), kMessage); }

    ~Console() override {
        g_theSvrPostMsg.UnRegister();
        Fetch();
    }

    // The texts of all messages.
    Texts Fetch() {
        Texts texts;
        for (auto received = Receive(*window); received.id != 0; received = Receive(*window))
            texts.push_back(received.text);
        return texts;
    }

    std::unique_ptr<test::ConsoleWindow> window = test::OpenConsoleWindow();
};

TEST_F(Console, ReceivesEveryKindOfMessageAsItWasWhenPosted) {
    for (const int value : {0, -5, INT_MAX, INT_MIN}) {
        EXPECT_EQ(g_theSvrPostMsg.PostMsg(value), 1);
        EXPECT_EQ(Fetch(), Texts{std::to_string(value)});
    }
    char                 text[] = "text";
    Kiv_EVENTLOG_INFO    dated{1, -7, 2, 12345, "dated", 9}, undated{1, 8, 3, 0, "undated", 0};
    Kiv_STM_SESSION_INFO session{};
    std::fill_n(session.clientName, sizeof session.clientName - 1, 'x');
    const auto before = static_cast<std::uint32_t>(std::time(nullptr));
    EXPECT_TRUE(g_theSvrPostMsg.PostMsg(&dated) && g_theSvrPostMsg.PostMsg(&undated)
                && g_theSvrPostMsg.PostMsg(text) && g_theSvrPostMsg.PostMsg(&session) && undated.time == 0);
    text[0] = '?', dated = {}, session = {};

    const auto event = Receive(*window).event;
    EXPECT_TRUE(event.subsystem == 1 && event.eventId == -7 && event.eventType == 2 && event.time == 12345);
    EXPECT_STREQ(event.text, "dated");
    EXPECT_GE(Receive(*window).event.time, before);
    EXPECT_EQ(Fetch(), (Texts{"text", X(63)}));
    CSvrPostMsg::DisposeMsg(0);
}

TEST_F(Console, CutsTheTextOfAnEventIntoPieces) {
    std::vector<std::pair<std::string, Texts>> rows = {{"", {" "}},
                                                       {"\n", {" "}},
                                                       {"short, with. breaks\n", {" short, with. breaks"}},
                                                       {"two\n\n", {" two\n"}},
                                                       {X(60) + "\n", {" " + X(60)}},
                                                       {X(61), {" " + X(60), " x"}},
                                                       {X(150), {" " + X(60), " " + X(60), " " + X(30)}},
                                                       {X(59) + " y", {" " + X(59) + " ", " y"}},
                                                       {X(60) + " y", {" " + X(60), "  y"}},
                                                       {"a b c" + X(59), {" a b ", " c" + X(59)}}};
    for (const char c : {' ', '\t', ',', '.'})
        rows.push_back({c + X(60), {std::string(" ") + c, " " + X(60)}});
    for (auto& [text, pieces] : rows) {
        EXPECT_EQ(Kiv_RaiseEvent(kKivSys_StreamingFs, 1, kKivEvent_Error, text.c_str()), 1);
        EXPECT_EQ(Fetch(), pieces) << text;
    }
    Kiv_RaiseEvent(kKivSys_StreamingFs, 1, kKivEvent_Error, nullptr);
    EXPECT_EQ(Fetch(), rows[0].second);

    g_theSvrPostMsg.PostEvent(kKivSys_StreamingFs, -3, kKivEvent_Warning, X(61).c_str(), 777);
    for (int piece = 0; piece < 2; ++piece) {
        const auto event = Receive(*window).event;
        EXPECT_TRUE(event.subsystem == 0x200 && event.eventId == -3 && event.eventType == 2
                    && event.time == 777);
    }
}

TEST_F(Console, IsToldWhenAnotherTakesItsPlaceOrNobodyDoes) {
    const auto other = std::exchange(window, test::OpenConsoleWindow());
    g_theSvrPostMsg.Register(other->Handle(), kMessage);
    EXPECT_EQ(Receive(*other).id, 0U);
    g_theSvrPostMsg.Register(other->Handle(), kMessage + 1);
    EXPECT_EQ(Receive(*other).id, kMessage);
    g_theSvrPostMsg.Register(window->Handle(), kMessage);
    EXPECT_EQ(Receive(*other).text, "Kiv_SvrPostMsg_Register change hWnd & msgId");
    g_theSvrPostMsg.UnRegister();
    EXPECT_EQ(Fetch(), Texts{"Kiv_SvrPostMsg_UnRegister called"});
    EXPECT_EQ(g_theSvrPostMsg.PostMsg(1), 0);
    g_theSvrPostMsg.Register(window->Handle(), 0);
    EXPECT_EQ(Kiv_RaiseEvent(kKivSys_Unknown, 1, kKivEvent_Error, "no message id"), 0);
    g_theSvrPostMsg.Register(nullptr, kMessage);
    EXPECT_EQ(g_theSvrPostMsg.PostMsg("no window"), 0);
    EXPECT_TRUE(Fetch().empty() && Receive(*other).id == 0);
}

TEST_F(Console, GetsNothingOnceItsWindowIsGone) {
    window.reset();
    window = test::OpenConsoleWindow(); // must not pass for the one before
    EXPECT_EQ(g_theSvrPostMsg.PostMsg(1) + g_theSvrPostMsg.PostMsg("text"), 0);
    EXPECT_EQ(Kiv_RaiseEvent(kKivSys_Unknown, 1, kKivEvent_Error, X(100).c_str()), 0);
    EXPECT_TRUE(Fetch().empty());
}

TEST_F(Console, ReceivesEveryEventOfManyThreadsInEachOnesOrder) {
    constexpr int    kThreads = 8, kEvents = 100000;
    std::vector<int> next(kThreads);
    const auto       threads = test::Start(kThreads, [](int id) {
        for (int i = 0; i < kEvents;) {
            if (Kiv_RaiseEvent(Kiv_SUBSYSTEM(id), i, kKivEvent_Error, "load") == 1)
                ++i;
            else
                std::this_thread::yield(); // the queue is full
        }
    });
    int              late    = 0;
    for (int i = 0; i < kThreads * kEvents; ++i) {
        const auto event = Receive(*window, 60000).event;
        late += event.eventId != next.at(event.subsystem)++;
    }
    EXPECT_EQ(late, 0);
    EXPECT_TRUE(Fetch().empty());
}

std::string g_shown;

TEST_F(Console, IsToldWhereInTheSourceAReportWasRaised) {
    const std::string longText = X(2000), text2(KivGetStrRes(2)), text20(KivGetStrRes(20));
    const std::tuple<const char*, const char*, int, int, std::string> rows[] = {
        {"common/KivUtility/MpgConcat", "x Failed", 0, 2, "MpgConcat(-7) : x Failed"},
        {"a/b\\c", "x", 9, 9, "c(-7) : x"},
        {nullptr, "x", 9, 9, "(-7) : x"},
        {"plain", nullptr, 0, 2, "plain(-7) : " + text2},
        {"plain", "", 20, 20, "plain(-7) : " + text20},
        {"c", longText.c_str(), 9, 9, "c(-7) : " + X(1023 - 8)}};
    KivSetPopUpHandler(
        [](const char* title, const char* text) { g_shown = title + std::string("|") + text; });
    const auto before = static_cast<std::uint32_t>(std::time(nullptr));
    for (const auto& [file, text, code, id, report] : rows) {
        for (const int popUp : {0, 1}) {
            g_shown.clear();
            Kiv_RaiseWEmsg(kKivEvent_Warning, file, -7, code, text, popUp);
            EXPECT_EQ(g_shown, popUp != 0 ? "PopUp Error|" + report : "");
            std::string posted;
            for (Received piece; (piece = Receive(*window)).id != 0; posted += piece.text.substr(1)) {
                const auto& event = piece.event;
                EXPECT_TRUE(event.subsystem == 0 && event.eventId == id && event.eventType == 2);
                EXPECT_GE(event.time, before);
            }
            EXPECT_EQ(posted, report);
        }
    }
    g_theSvrPostMsg.UnRegister();
    Kiv_RaiseWEmsg(kKivEvent_Error, "nobody", 1, 1, "listens", 1);
    EXPECT_EQ(g_shown, "PopUp Error|nobody(1) : listens");
    KivSetPopUpHandler(nullptr);
}

TEST_F(Console, LeavesTheEventsThatHaveNoWindowToTheLogFile) {
    const std::string path = KIV_PROGRAM_DIR "/LogFile.txt";
    std::ofstream(path) << "of an earlier run";
    std::string expected;
    {
        CSvrPostMsg poster;
        poster.EnableLogFile();
        constexpr std::tuple<std::time_t, std::uint32_t, const char*> kRows[] = {
            {946728000, 1, "Info"}, // a day of one digit
            {1700000000, 2, "Warning"},
            {1700000000, 3, "Error"},
            {1700000000, 0, "Unknown"}};
        for (const auto& [time, type, name] : kRows) {
            Kiv_EVENTLOG_INFO event{0, -5, type, std::uint32_t(time), "", 0};
            std::fill_n(event.text, sizeof event.text, 'e'); // and no NUL
            EXPECT_EQ(poster.PostMsg(&event), 1);
            expected +=
                std::string(std::ctime(&time), 24) + ", " + name + "(-5) : " + std::string(64, 'e') + '\n';
        }
        EXPECT_EQ(test::ReadWholeText(path), expected); // as long as the file is open
        poster.EnableLogFile();
        EXPECT_EQ(poster.PostMsg(1) + poster.PostMsg("text"), 0);
        poster.Register(window->Handle(), kMessage);
        poster.PostEvent(kKivSys_Unknown, 1, kKivEvent_Error, "to the window", 0);
        poster.UnRegister();
        EXPECT_EQ(poster.PostEvent(kKivSys_Unknown, 5, kKivEvent_Error, X(61).c_str(), -1), 1);
    }
    const auto written = test::ReadWholeText(path);
    EXPECT_TRUE(written.starts_with(expected) && std::count(written.begin(), written.end(), '\n') == 6)
        << written;
    EXPECT_NE(written.find(" 2106, Error(5) :  " + X(60) + "\n"), std::string::npos) << written;
    EXPECT_TRUE(written.ends_with(" 2106, Error(5) :  x\n")) << written;
    EXPECT_TRUE(std::filesystem::remove(path));
}

} // namespace
