// The arrays of records: what copies share, and until when.
#include "KivUtility.h"

#include "crowd.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using Sessions = Kiv_STM_SESSION_INFO_ARRAY;

Sessions Named(const std::string& letters) {
    Sessions sessions(static_cast<int>(letters.size()));
    for (int i = 0; i < sessions.size(); ++i)
        sessions[i].sessionId = static_cast<unsigned char>(letters.at(std::size_t(i)));
    return sessions;
}

std::string Names(const Sessions& sessions) {
    std::string letters;
    for (int i = 0; i < sessions.size(); ++i) letters += static_cast<char>(sessions[i].sessionId);
    return letters;
}

TEST(RecordArray, IsTheSameListInEveryCopyAndInNoOther) {
    std::memset(&Sessions(3)[0], 'x', 3 * sizeof Sessions()[0]); // what the next one of this size may find
    const Sessions list(3), other(3), empty, negative(-1);
    EXPECT_TRUE(empty.size() == 0 && negative.size() == 0 && empty == negative && list != empty);
    const std::string bytes(reinterpret_cast<const char*>(&list[0]), 3 * sizeof list[0]);
    EXPECT_TRUE(list.size() == 3 && bytes == std::string(bytes.size(), '\0'));
    Sessions copy(list), moved(std::move(copy));
    EXPECT_TRUE(copy == list && moved == list && list != other && &moved[2] == &list[2]);
    moved = copy = other;
    EXPECT_TRUE(moved == other && moved.size() == 3 && moved != list);
    // as many as make the product a small one where it has 32 bits
    if (sizeof(std::size_t) == 4) {
        EXPECT_EQ(Sessions(static_cast<int>(0x100000000 / sizeof list[0] + 1)).size(), 0);
    }
}

TEST(RecordArray, PartsFromItsCopiesWhenItGrows) {
    auto       list = Named("ab");
    const auto copy = list, more = Named("cde");
    EXPECT_EQ(Names(list += copy), "ab") << "the same list";
    EXPECT_EQ(Names(list += more), "abcde");
    list[2].sessionId = 'x';
    EXPECT_EQ(Names(copy) + Names(more), "abcde");
    const auto before = list;
    EXPECT_TRUE(Names(list += {}) == "abxde" && list != before);
    EXPECT_EQ(Names(Sessions() += more), "cde");
}

TEST(RecordArray, IsSharedAndDroppedByManyThreads) {
    auto list    = Named("a");
    auto threads = test::Start(16, [mine = list](int) {
        Sessions kept;
        for (int i = 0; i < 50000; ++i) {
            const auto copy = mine; // NOLINT(performance-unnecessary-copy-initialization)
            kept            = i % 3 == 0 ? Sessions(1) : copy;
            EXPECT_EQ(copy[0].sessionId, unsigned{'a'});
        }
    });
    list         = {}; // the last thread frees the records
}

} // namespace
