// The naming tables, looked up from both ends.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string>

namespace {

template <class Id>
void ExpectWayBack(CKivString (*toName)(Id), Id (*toId)(const char*), const char* unknown, int skipped) {
    for (int value = 0; value <= 6; ++value) {
        const std::string name(toName(static_cast<Id>(value)));
        const int         back = value == skipped ? 0 : value;
        EXPECT_TRUE(value != skipped || name == unknown) << name;
        EXPECT_EQ(toId((name + ' ').c_str()), 0) << name << " and a blank";
        std::string other = name; // in the other case, letter by letter
        for (char& c : other)
            if (std::isalpha(static_cast<unsigned char>(c)) != 0) c = static_cast<char>(c ^ 0x20);
        for (const auto& spelt : {name, other}) EXPECT_EQ(toId(spelt.c_str()), back) << spelt;
    }
    for (const int value : {-1, 7, 4096}) EXPECT_STREQ(toName(static_cast<Id>(value)), unknown) << value;
    for (const char* name : {static_cast<const char*>(nullptr), "", unknown}) EXPECT_EQ(toId(name), 0);
}

TEST(Names, LeadBackToTheirIdentifiersInAnyCase) {
    ExpectWayBack(KivConvertSvcIdToShortName, KivConvertShortNameToSvcId, "UNDSVC", 6);
    ExpectWayBack(KivConvertSvcIdToLongName, KivConvertLongNameToSvcId, "UNDSVC", 6);
    ExpectWayBack(KivConvertAppIdToShortName, KivConvertShortNameToAppId, "UNDAPP", 6);
    ExpectWayBack(KivConvertAppIdToLongName, KivConvertLongNameToAppId, "Undefined Application", 6);
    ExpectWayBack(KivConvertProtocolIdToName, KivConvertProtocolNameToId, "unkp", 4);
}

// The letter of a file system is the first one of its short name; 512 is the second, and so on.
TEST(Names, LettersLeadToFileSystems) {
    for (int value = 256; const char letter : std::string("ASWNLM")) {
        const auto id = KivConvertCharNameToSubSystemId(static_cast<char>(letter | 0x20));
        EXPECT_TRUE(id == value && KivConvertCharNameToSubSystemId(letter) == id) << letter;
        EXPECT_EQ(static_cast<const char*>(KivConvertSubSystemIdToShortName(id))[0], letter);
        value *= 2;
    }
    for (const char other : {' ', 'x', '\0', '\xC1'}) // the last is an A but for its highest bit
        EXPECT_EQ(KivConvertCharNameToSubSystemId(other), 0) << +other;
    for (const auto& [value, name] :
         {std::pair{0, "UNKSYS"}, {8, "STMMAST"}, {0x20000, "KivSTM"}, {3, "UNDSYS"}, {-1, "UNDSYS"}})
        EXPECT_STREQ(KivConvertSubSystemIdToShortName(static_cast<Kiv_SUBSYSTEM>(value)), name);
}

} // namespace
