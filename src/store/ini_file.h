#pragma once
// Per-user profile files (NQUser.nq, UserInfo.dat, User.ini, ...) in the format of the Windows
// profile calls GetPrivateProfileString / WritePrivateProfileString: GBK text, CRLF line ends,
// "[section]" headers and "key=value" lines. Files written by the Windows client must read
// and rewrite exactly as they did there, so the quirks of those calls are kept on purpose.

#include <cstdint>
#include <string>
#include <string_view>

#include "wire/gbk.h"

namespace nq {

// True when path names something that exists and is not a directory; false for an empty
// path and for any error on the way (no permission, dangling link, ...).
[[nodiscard]] bool fileExists(const std::string& path);

class CIniFile {
  public:
    // The longest value a read hands out, in bytes: the Windows code read into a 1024-byte
    // buffer, and the profile call keeps one byte for its NUL.
    static constexpr size_t kMaxValueBytes = 1023;

    // Files beyond this size are not loaded: reads see nothing and writes refuse, so that a
    // runaway file is neither held in memory nor truncated by a rewrite.
    static constexpr uintmax_t kMaxFileBytes = 64u * 1024 * 1024;

    CIniFile() = default;
    explicit CIniFile(std::string path) : path_(std::move(path)) {}

    // Only remembers the path; the file is touched by the first read or write.
    void setINIFileName(std::string path) { path_ = std::move(path); }
    void setINIFileName(std::string_view strDrv, std::string_view strDir) {
        path_ = MakePath(strDrv, strDir);
    }
    [[nodiscard]] const std::string& INIFileName() const { return path_; }

    // Joins a folder and a name with exactly one "/", whichever separators either side
    // brought along ("C:\\Users\\" + "\\NQUser.nq" style parts come from the old settings).
    [[nodiscard]] static std::string MakePath(std::string_view strDrv, std::string_view strDir);

    // Writes key=value into section, creating the file and the section as needed. Section,
    // key and value end at their first NUL as the C calls did; the value also ends at a CR or
    // LF, which would otherwise plant extra lines in the file. Returns whether the change is
    // on disk: an unwritable folder, an oversized file, or a name that could not read back as
    // itself (empty, holding a line break, a key such as "[x]", ";x" or "a=b") make it false.
    // A file that cannot be read or written also says so on stderr, once for each file and
    // failure until a write to that file succeeds again, so callers may ignore the result.
    bool WriteIniKey(std::string_view section, std::string_view key, std::string_view value);

    // The value as the Windows code read it: the profile value (blanks around it stripped,
    // one pair of matching quotes removed), cut to 1023 bytes, spaces trimmed. A missing key
    // and an empty value both read as "".
    [[nodiscard]] Bytes GetIniKey(std::string_view section, std::string_view key) const;

    // The same read without the final trim: the value padded with spaces to 1023 bytes, as
    // the profile call left it in a buffer that had been filled with spaces.
    [[nodiscard]] Bytes GetIniKey1(std::string_view section, std::string_view key) const;

    // Removes every line of key in the section (true when nothing of it is left on disk).
    bool DelIniKey(std::string_view section, std::string_view key);

    // Removes the section with all its lines, every copy of it when it appears twice.
    bool DelIniSec(std::string_view section);

    // How many times a file has been read from disk and parsed, over all instances. Reads of
    // an unchanged file and reads after this process's own writes are served from memory.
    [[nodiscard]] static uint64_t diskParseCount();

    // Forgets every parsed file, so that the next access of each goes to the disk.
    static void dropCache();

    // The wall clock (ns since the epoch) that tells a stamp too recent to trust from an older
    // one; tests pin it so that the window's edge can be reached exactly. nullptr: the system's.
    static void setWallClock(int64_t (*nowNs)());

  private:
    std::string path_;
};

}  // namespace nq
