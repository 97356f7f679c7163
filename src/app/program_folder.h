#pragma once
// Where nqchat keeps its files. A development build and an old-style install keep everything in
// one folder beside the executable; a package installs the executable under /usr/bin, the
// pictures and sounds read-only under /usr/share/nqchat, and a default Sys.ini under /etc/nqchat,
// so that each user's writable folder lives under $XDG_DATA_HOME.

#include <functional>
#include <string>

namespace nq::app {

struct FolderInputs {
    std::string home;           // --home DIR, empty when not given
    std::string envHome;        // $NQCHAT_HOME
    std::string exeDir;         // the running executable's folder
    std::string xdgDataHome;    // $XDG_DATA_HOME
    std::string userHome;       // $HOME
    std::string installedData;  // the package's read-only data folder (/usr/share/nqchat)
};

struct FolderChoice {
    std::string programFolder;  // Sys.ini, User.ini and the per-user folders
    std::string assetFolder;    // sound/, image/, face/ and keywords.kwd
    bool perUser = false;       // the XDG folder: created on demand and its Sys.ini seeded
};

// --home, else $NQCHAT_HOME, else the executable's folder when it holds Sys.ini, else
// $XDG_DATA_HOME/nqchat (~/.local/share/nqchat when unset or not absolute). Assets come from the
// program folder when it holds image/, else from the executable's folder when that does, else
// from installedData. exists(path) answers for files and folders alike.
[[nodiscard]] FolderChoice chooseFolders(const FolderInputs& in,
                                         const std::function<bool(const std::string&)>& exists);

// Creates a per-user program folder and copies seedSysIni into it when it has no Sys.ini yet; a
// missing seed leaves the client's defaults (a server on 127.0.0.1). Returns an error text, or
// an empty one.
[[nodiscard]] std::string prepareProgramFolder(const FolderChoice& choice, const std::string& seedSysIni);

}  // namespace nq::app
