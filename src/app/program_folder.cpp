#include "app/program_folder.h"

#include <filesystem>
#include <system_error>

#include "store/store_keys.h"

namespace nq::app {

namespace fs = std::filesystem;
namespace keys = store::settings;

FolderChoice chooseFolders(const FolderInputs& in, const std::function<bool(const std::string&)>& exists) {
    const std::string sysIni(keys::kSysFileName);
    FolderChoice c;
    if (!in.home.empty()) {
        c.programFolder = in.home;
    } else if (!in.envHome.empty()) {
        c.programFolder = in.envHome;
    } else if (exists(in.exeDir + "/" + sysIni)) {
        c.programFolder = in.exeDir;
    } else {
        // The XDG rules ignore a relative $XDG_DATA_HOME.
        const std::string data = (!in.xdgDataHome.empty() && in.xdgDataHome.front() == '/')
                                     ? in.xdgDataHome
                                     : in.userHome + "/.local/share";
        c.programFolder = data + "/nqchat";
        c.perUser = true;
    }
    if (exists(c.programFolder + "/image"))
        c.assetFolder = c.programFolder;
    else if (exists(in.exeDir + "/image"))
        c.assetFolder = in.exeDir;
    else
        c.assetFolder = in.installedData;
    return c;
}

std::string prepareProgramFolder(const FolderChoice& choice, const std::string& seedSysIni) {
    if (!choice.perUser) return {};
    std::error_code ec;
    fs::create_directories(choice.programFolder, ec);
    if (ec) return "cannot create " + choice.programFolder + ": " + ec.message();
    const fs::path target = fs::path(choice.programFolder) / std::string(keys::kSysFileName);
    if (fs::exists(target, ec) || !fs::exists(seedSysIni, ec)) return {};
    fs::copy_file(seedSysIni, target, ec);
    if (ec) return "cannot copy " + seedSysIni + " to " + target.string() + ": " + ec.message();
    return {};
}

}  // namespace nq::app
