#include <gtest/gtest.h>

#include "store/ini_file.h"
#include "store/store_keys.h"
#include "support/temp_dir.h"

namespace nq::store {
namespace {

// The keys of one profile section share it: two that met under the file's case-blind matching
// would overwrite each other.
TEST(StoreKeys, NumberedKeysPutTheIndexFirstAndKeysOfOneProfileSectionNeverShareALine) {
    EXPECT_EQ(numberedKey(12, user::kVlgIdSuffix), "12VlgID");
    EXPECT_EQ(numberedKey(-1), "-1");
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
