// What a manager makes of a registry that was not written by a manager.
#include "KivRegistryMgr.h"
#include "platform/registrystore.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace kiv::platform;

const char kParent[] = "SOFTWARE\\Halvorn";

std::span<const unsigned char> Bytes(const std::string& text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

// A key of the tests' own stands for the root, so that what a root may and may not do is tried on it.
class RegistrySeam : public testing::Test {
protected:
    void SetUp() override {
        parent = CreateKey(HKEY_CURRENT_USER, kParent);
        root   = CreateKey(parent, "KivUtilitySeam");
        ASSERT_NE(root, nullptr);
    }

    void TearDown() override {
        EXPECT_TRUE(DeleteKey(parent, "KivUtilitySeam"));
        EXPECT_TRUE(CloseKey(root));
        EXPECT_TRUE(CloseKey(parent));
    }

    HKEY parent = nullptr;
    HKEY root   = nullptr;
};

TEST_F(RegistrySeam, ATextNeedsNoTerminatorAndEndsAtItsFirst) {
    const std::string stored[] = {"abc", std::string("abc\0def", 7), "abc" + std::string(2, '\0')};
    for (const auto& bytes : stored) {
        CKivRegistryMgr node(root);
        CKivString      text;
        char            buffer[16] = "before";
        ASSERT_EQ(node.OpenNode("", 0), 1);
        ASSERT_TRUE(WriteValue(root, "text", kRegistryText, Bytes(bytes)));
        EXPECT_EQ(node.ReadValue("text", text, "def"), 1);
        EXPECT_STREQ(text, "abc");
        EXPECT_EQ(node.ReadValue("text", buffer, sizeof buffer, "def"), 1);
        EXPECT_STREQ(buffer, "abc");
    }
    CKivRegistryMgr node(root);
    CKivString      text;
    ASSERT_EQ(node.OpenNode("", 0), 1);
    ASSERT_TRUE(WriteValue(root, "text", kRegistryText, {}));
    EXPECT_EQ(node.ReadValue("text", text, "def"), 1);
    EXPECT_STREQ(text, "");
}

TEST_F(RegistrySeam, AKeyDirectlyUnderTheRootIsNotDeletedHoweverItIsSpelt) {
    for (const char* path : {"first", "first\\"}) {
        CKivRegistryMgr node(root);
        ASSERT_EQ(node.OpenNode(path, 1), 1) << path;
        EXPECT_EQ(node.DeleteNode(0), 0) << path;
        EXPECT_EQ(node.DeleteNode(1), 0) << path;
        EXPECT_EQ(SubKeyNames(root).size(), 1U) << path;
    }
    EXPECT_TRUE(DeleteKey(root, "first"));
}

TEST_F(RegistrySeam, WhatDoesNotFitIsToldAndNotRead) {
    unsigned char room[4] = {};
    ASSERT_TRUE(WriteValue(root, "n", kRegistryNumber, Bytes("abcd")));
    for (std::size_t size = 0; size <= sizeof room; ++size) {
        const auto value = ReadValue(root, "N", {room, size});
        ASSERT_TRUE(value) << size;
        EXPECT_EQ(value->type, kRegistryNumber);
        EXPECT_EQ(value->size, 4U);
    }
    EXPECT_EQ(std::string(room, room + 4), "abcd");
    EXPECT_FALSE(ReadValue(root, "missing", room));
}

TEST_F(RegistrySeam, NoKeyIsNoCrash) {
    EXPECT_EQ(OpenKey(root, "missing"), nullptr);
    EXPECT_FALSE(ReadValue(nullptr, "n", {}));
    EXPECT_FALSE(WriteValue(nullptr, "n", kRegistryText, {}));
    EXPECT_FALSE(DeleteValue(nullptr, "n"));
    EXPECT_FALSE(DeleteKey(root, "missing"));
    EXPECT_TRUE(SubKeyNames(nullptr).empty());
    EXPECT_TRUE(ValueNames(nullptr).empty());
    EXPECT_FALSE(CloseKey(nullptr));
    EXPECT_TRUE(CloseKey(HKEY_CURRENT_USER));
}

} // namespace
