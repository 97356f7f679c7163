#include "desktop/auto_start.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace nq {

namespace fs = std::filesystem;

std::string autoStartEntryPath(const char* xdgConfigHome, const char* home) {
    fs::path base;
    if (xdgConfigHome != nullptr && fs::path(xdgConfigHome).is_absolute())
        base = xdgConfigHome;
    else if (home != nullptr && fs::path(home).is_absolute())
        base = fs::path(home) / ".config";
    else
        return {};
    return (base / "autostart" / "nqchat.desktop").lexically_normal().string();
}

std::string execArgument(const std::string& argument) {
    // The characters the Exec field reserves: an argument with any of them is quoted.
    static constexpr std::string_view kReserved = " \t\n\"'\\><~|&;$*?#()`";
    const bool quote = argument.empty() || argument.find_first_of(kReserved) != std::string::npos;
    // First the Exec field's own quoting: inside quotes four characters take a backslash.
    std::string quoted;
    for (char c : argument) {
        if (quote && (c == '"' || c == '`' || c == '$' || c == '\\')) quoted += '\\';
        quoted += c;
    }
    if (quote) quoted = '"' + quoted + '"';
    // Then the string value the field is stored as: a backslash doubles, so a literal one in
    // a path ends up as four in the file; a percent sign would start a field code.
    std::string out;
    for (char c : quoted) {
        if (c == '\\')
            out += "\\\\";
        else if (c == '%')
            out += "%%";
        else if (c == '\n')
            out += "\\n";
        else
            out += c;
    }
    return out;
}

std::string autoStartEntryText(const AutoStartTarget& target) {
    std::string exec = execArgument(target.program);
    if (!target.home.empty()) exec += " --home " + execArgument(target.home);
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=NQChat\n"
           "Name[zh_CN]=珀岚聊天\n"
           "Exec=" +
           exec +
           "\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

bool setAutoStartAt(const std::string& entryPath, bool enable, const AutoStartTarget& target) {
    if (entryPath.empty()) return false;
    std::error_code ec;
    if (!enable) {
        fs::remove(entryPath, ec);
        return !ec && !fs::exists(entryPath, ec);
    }
    fs::create_directories(fs::path(entryPath).parent_path(), ec);
    std::ofstream out(entryPath, std::ios::binary | std::ios::trunc);
    out << autoStartEntryText(target);
    out.close();
    return static_cast<bool>(out);
}

bool SetAutoStart(bool enable, const AutoStartTarget& target) {
    return setAutoStartAt(autoStartEntryPath(std::getenv("XDG_CONFIG_HOME"), std::getenv("HOME")), enable,
                          target);
}

}  // namespace nq
