// The naming tables, looked up from both ends.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// `text` with its small letters as capitals and the other way around.
std::string OtherCase(std::string text) {
    for (char& c : text) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) c ^= 0x20;
    }
    return text;
}

template <class Id, class ToName, class ToId>
void ExpectNamesLeadBack(std::initializer_list<int> ids, ToName toName, ToId toId, const char* unknown) {
    for (const int value : ids) {
        const CKivString name = toName(static_cast<Id>(value));
        EXPECT_EQ(toId(name), value) << name;
        EXPECT_EQ(toId(OtherCase(static_cast<const char*>(name)).c_str()), value) << name;
        EXPECT_EQ(toId((std::string(name) + ' ').c_str()), 0) << name << " and a blank";
    }
    for (const int value : {-1, 4096, *(ids.end() - 1) + 1})
        EXPECT_STREQ(toName(static_cast<Id>(value)), unknown) << value;
    for (const char* name : {static_cast<const char*>(nullptr), "", unknown}) EXPECT_EQ(toId(name), 0);
}

TEST(Names, LeadBackToTheirIdentifiersInAnyCase) {
    const auto services = {0, 1, 2, 3, 4, 5}, protocols = {0, 1, 2, 3, 5, 6};
    ExpectNamesLeadBack<SVR_APP_SVC_ID>(services, KivConvertSvcIdToShortName, KivConvertShortNameToSvcId,
                                        "UNDSVC");
    ExpectNamesLeadBack<SVR_APP_SVC_ID>(services, KivConvertSvcIdToLongName, KivConvertLongNameToSvcId,
                                        "UNDSVC");
    ExpectNamesLeadBack<SVR_APP_ID>(services, KivConvertAppIdToShortName, KivConvertShortNameToAppId,
                                    "UNDAPP");
    ExpectNamesLeadBack<SVR_APP_ID>(services, KivConvertAppIdToLongName, KivConvertLongNameToAppId,
                                    "Undefined Application");
    ExpectNamesLeadBack<Kiv_STM_PROTOCOL_ID>(protocols, KivConvertProtocolIdToName,
                                             KivConvertProtocolNameToId, "unkp");
    EXPECT_STREQ(KivConvertProtocolIdToName(static_cast<Kiv_STM_PROTOCOL_ID>(4)), "unkp");
    EXPECT_EQ(KivConvertShortNameToSvcId("lsrt") * 10 + KivConvertLongNameToAppId("kivlive"), 32);
}

// The letter of a file system is the first one of its short name; 512 is the second, and so on.
TEST(Names, LettersLeadToFileSystems) {
    for (int value = 256; const char letter : std::string("ASWNLM")) {
        const auto id = KivConvertCharNameToSubSystemId(static_cast<char>(letter | 0x20));
        EXPECT_EQ(id, value) << letter;
        EXPECT_EQ(KivConvertCharNameToSubSystemId(letter), value);
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
