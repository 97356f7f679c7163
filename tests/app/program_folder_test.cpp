// Which folder an installed or a development nqchat uses, and the first start of a user.

#include <gtest/gtest.h>

#include <set>

#include "app/program_folder.h"
#include "support/temp_dir.h"

namespace nq::app {
namespace {

TEST(ProgramFolder, HomeThenEnvironmentThenExecutableWithSysIniThenXdg) {
    struct Case {
        FolderInputs in;
        std::set<std::string> present;
        FolderChoice want;
    };
    const Case cases[] = {
        {{"/h", "/env", "/usr/bin", "/x", "/u", "/share"}, {"/usr/bin/Sys.ini"}, {"/h", "/share", false}},
        {{"", "/env", "/usr/bin", "/x", "/u", "/share"}, {"/usr/bin/Sys.ini"}, {"/env", "/share", false}},
        {{"", "", "/b", "/x", "/u", "/share"}, {"/b/Sys.ini", "/b/image"}, {"/b", "/b", false}},
        {{"", "", "/usr/bin", "/x", "/u", "/share"}, {}, {"/x/nqchat", "/share", true}},
        // A relative or empty XDG_DATA_HOME counts as unset.
        {{"", "", "/usr/bin", "rel", "/u", "/share"}, {}, {"/u/.local/share/nqchat", "/share", true}},
        {{"", "", "/usr/bin", "", "/u", "/share"}, {}, {"/u/.local/share/nqchat", "/share", true}},
        // Assets: the program folder's own, else the executable's (a build tree), else shared.
        {{"/h", "", "/b", "", "/u", "/share"}, {"/h/image", "/b/image"}, {"/h", "/h", false}},
        {{"/h", "", "/b", "", "/u", "/share"}, {"/b/image"}, {"/h", "/b", false}},
    };
    for (const Case& c : cases) {
        const FolderChoice got =
            chooseFolders(c.in, [&](const std::string& p) { return c.present.contains(p); });
        EXPECT_EQ(std::tuple(got.programFolder, got.assetFolder, got.perUser),
                  std::tuple(c.want.programFolder, c.want.assetFolder, c.want.perUser))
            << c.in.home << "|" << c.in.envHome << "|" << c.in.xdgDataHome;
    }
}

TEST(ProgramFolder, FirstStartCreatesTheFolderAndSeedsSysIniOnce) {
    test::TempDir tmp;
    const std::string seed = tmp.file("seed.ini");
    test::writeFile(seed, "[Setting]\r\nServer=chat.example.org\r\n");
    const FolderChoice xdg{tmp.path() + "/data/nqchat", "/share", true};
    ASSERT_EQ(prepareProgramFolder(xdg, seed), "");
    EXPECT_EQ(test::readFile(xdg.programFolder + "/Sys.ini"), "[Setting]\r\nServer=chat.example.org\r\n");
    // The user's own edits survive the next start.
    test::writeFile(xdg.programFolder + "/Sys.ini", "[Setting]\r\nServer=mine\r\n");
    ASSERT_EQ(prepareProgramFolder(xdg, seed), "");
    EXPECT_EQ(test::readFile(xdg.programFolder + "/Sys.ini"), "[Setting]\r\nServer=mine\r\n");
    // A folder named by the user is never created.
    const FolderChoice named{tmp.path() + "/named", "/share", false};
    ASSERT_EQ(prepareProgramFolder(named, seed), "");
    EXPECT_FALSE(std::filesystem::exists(named.programFolder));
}

}  // namespace
}  // namespace nq::app
