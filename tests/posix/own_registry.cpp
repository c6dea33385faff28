// Gives a test program a registry of its own: a store in a folder that goes with the program.
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

namespace {

class OwnRegistry : public testing::Environment {
public:
    void SetUp() override { ::setenv("KIV_REGISTRY", m_folder.emplace().Path("registry.db").c_str(), 1); }

    void TearDown() override { m_folder.reset(); }

private:
    std::optional<test::TempFolder> m_folder;
};

const auto* const g_ownRegistry = testing::AddGlobalTestEnvironment(new OwnRegistry);

} // namespace
