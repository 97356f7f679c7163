// Profile files of any content: read, written, read again, with and without the cache.

#include <fuzzer/FuzzedDataProvider.h>

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "store/ini_file.h"

namespace {

void check(bool ok) {
    if (!ok) std::abort();
}

const std::string& scratchFile() {
    static const std::string path = [] {
        std::string tmpl = (std::filesystem::temp_directory_path() / "nq-fuzz-ini-XXXXXX").string();
        check(::mkdtemp(tmpl.data()) != nullptr);
        return tmpl + "/NQUser.nq";
    }();
    return path;
}

// Printable text with nothing the profile call would strip or unquote, so that a write of it
// must read back unchanged.
std::string plainValue(FuzzedDataProvider& in) {
    std::string v = in.ConsumeRandomLengthString(40);
    for (char& c : v) c = static_cast<char>('a' + static_cast<unsigned char>(c) % 26);
    return v;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const std::string section = in.ConsumeRandomLengthString(24);
    const std::string key = in.ConsumeRandomLengthString(24);
    const std::string value = plainValue(in);
    const std::string content = in.ConsumeRemainingBytesAsString();

    const std::string& path = scratchFile();
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    nq::CIniFile ini(path);

    const nq::Bytes before = ini.GetIniKey(section, key);
    check(before.size() <= nq::CIniFile::kMaxValueBytes);
    check(before.find('\0') == std::string::npos);
    const nq::Bytes padded = ini.GetIniKey1(section, key);
    check(padded.size() == nq::CIniFile::kMaxValueBytes);

    if (ini.WriteIniKey(section, key, value)) {
        check(ini.GetIniKey(section, key) == value);
        nq::CIniFile::dropCache();
        check(ini.GetIniKey(section, key) == value);  // what is on disk says the same

        check(ini.DelIniKey(section, key));
        check(ini.GetIniKey(section, key).empty());
        check(ini.WriteIniKey(section, key, value));
        check(ini.DelIniSec(section));
        check(ini.GetIniKey(section, key).empty());
        nq::CIniFile::dropCache();
        check(ini.GetIniKey(section, key).empty());
    }
    return 0;
}
