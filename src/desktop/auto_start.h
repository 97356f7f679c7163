#pragma once
// Starting with the desktop session: an XDG autostart entry that the session manager runs at
// log-in. Writing and removing it is all the setting does; failures stay silent, as the
// setting never reports one.

#include <string>

namespace nq {

struct AutoStartTarget {
    std::string program;  // absolute path of the executable
    std::string home;     // the --home folder it was started with, empty when none
};

// $XDG_CONFIG_HOME/autostart/nqchat.desktop; a variable that is unset, empty or relative is
// ignored as the base directory rules say, and $HOME/.config takes its place. Empty when
// neither gives an absolute folder.
[[nodiscard]] std::string autoStartEntryPath(const char* xdgConfigHome, const char* home);

// One argument of an Exec line: quoted when it holds anything the launcher would split or
// expand, with the escapes of both the Exec field and the string value it lives in.
[[nodiscard]] std::string execArgument(const std::string& argument);

// The whole entry file for the target.
[[nodiscard]] std::string autoStartEntryText(const AutoStartTarget& target);

// Writes the entry (enable) or removes it, at the path the environment gives. True when the
// file system now says what was asked.
bool SetAutoStart(bool enable, const AutoStartTarget& target);

// The same at an explicit entry path.
bool setAutoStartAt(const std::string& entryPath, bool enable, const AutoStartTarget& target);

}  // namespace nq
