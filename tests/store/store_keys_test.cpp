#include <gtest/gtest.h>

#include "store/ini_file.h"
#include "store/store_keys.h"
#include "support/temp_dir.h"

namespace nq::store {
namespace {

TEST(StoreKeys, NumberedKeysPutTheIndexFirst) {
    struct Case {
        int index;
        std::string_view suffix;
        const char* expected;
    } cases[] = {{0, "", "0"},
                 {12, user::kVlgIdSuffix, "12VlgID"},
                 {105, user::kOnlineSuffix, "105Online"},
                 {-1, "", "-1"}};
    for (const auto& c : cases) EXPECT_EQ(numberedKey(c.index, c.suffix), c.expected);
}

// The keys of one profile section share it: two that met under the file's case-blind matching
// would overwrite each other.
TEST(StoreKeys, KeysOfOneProfileSectionNeverShareALine) {
    test::TempDir dir;
    CIniFile file(dir.file("UserInfo.dat"));
    auto roundTrip = [&](std::string_view section, auto keys) {
        for (size_t i = 0; i < keys.size(); ++i)
            ASSERT_TRUE(file.WriteIniKey(section, keys[i], std::to_string(i)));
        for (size_t i = 0; i < keys.size(); ++i)
            EXPECT_EQ(file.GetIniKey(section, keys[i]), std::to_string(i));
    };
    roundTrip("alice", info::kPersonKeys);
    roundTrip("g1", info::kGroupKeys);
}

}  // namespace
}  // namespace nq::store
