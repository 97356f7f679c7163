#include "store/ini_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "store/ini_cache.h"
#include "store/ini_text.h"

namespace nq {

using namespace ini;

namespace {

namespace fs = std::filesystem;

// ---- The cache of parsed files. A file is taken as unchanged while its device, inode,
// size and modification time (nanoseconds) all stay the same; a rename over it changes
// the inode, an edit in place the size or the time.
//
// File systems stamp times from a clock that ticks every few milliseconds, so an edit of
// the same size within the tick of the previous one keeps every stamp. An entry whose
// modification time is that recent is "racy" (the word git uses for the same problem):
// until its tick is surely over, each access reads the bytes again and compares them.

struct Stamp {
    dev_t dev = 0;
    ino_t ino = 0;
    off_t size = 0;
    int64_t mtimeNs = 0;
    mode_t mode = 0;

    static Stamp of(const struct stat& st) {
        return Stamp{st.st_dev, st.st_ino, st.st_size,
                     static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec, st.st_mode};
    }
    bool operator==(const Stamp& o) const {
        return dev == o.dev && ino == o.ino && size == o.size && mtimeNs == o.mtimeNs;
    }
};

// Longer than the coarse clock tick of any kernel configuration (10 ms at HZ=100).
constexpr int64_t kRacyWindowNs = 20'000'000;

int64_t systemClockNs() {
    timespec ts{};
    ::clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

std::atomic<int64_t (*)()> gWallClock{systemClockNs};

int64_t wallClockNs() {
    return gWallClock.load()();
}

// capturedAt is a time taken before the content was read: a later edit in the same tick
// as the stamp is possible only while that tick may still be running.
bool isRacy(const Stamp& s, int64_t capturedAt) {
    return s.mtimeNs + kRacyWindowNs > capturedAt;
}

struct CacheEntry {
    Stamp stamp;
    std::shared_ptr<const Document> doc;
    uint64_t lastUse = 0;
    bool racy = false;
    std::string bytes;  // the content, kept only while racy
};

// Per-user files are a handful per login; a small bound keeps a long-running server that
// opens many of them from holding every one in memory.
constexpr size_t kCacheEntries = 32;

std::mutex gMutex;
std::unordered_map<std::string, CacheEntry> gCache;
uint64_t gUseClock = 0;
std::atomic<uint64_t> gParseCount{0};
std::atomic<uint64_t> gTempCounter{0};
std::unordered_set<std::string> gSweptFolders;

void remember(const std::string& path, const Stamp& stamp, std::shared_ptr<const Document> doc,
              int64_t capturedAt, std::string bytes) {
    if (gCache.size() >= kCacheEntries && gCache.find(path) == gCache.end()) {
        auto oldest = gCache.begin();
        for (auto it = gCache.begin(); it != gCache.end(); ++it) {
            if (it->second.lastUse < oldest->second.lastUse) oldest = it;
        }
        gCache.erase(oldest);
    }
    CacheEntry e{stamp, std::move(doc), ++gUseClock, isRacy(stamp, capturedAt), {}};
    if (e.racy) e.bytes = std::move(bytes);
    gCache[path] = std::move(e);
}

// Why a change did not reach the disk: what went wrong and the errno it came with (0 if none).
// A failure with no text has nothing to tell the user (no file was named).
struct Failure {
    const char* what = nullptr;
    int err = 0;
};

// Failures already told on stderr, per file: a write that keeps failing says so once, and a
// file that was written again since tells a new failure afresh. Guarded by gMutex.
std::unordered_map<std::string, std::set<std::pair<std::string, int>>> gReported;

void reportFailure(const std::string& path, const Failure& f) {
    if (!f.what || !gReported[path].emplace(f.what, f.err).second) return;
    std::string line = "nq: settings not saved to " + path + ": " + f.what;
    if (f.err) line += ": " + std::error_code(f.err, std::generic_category()).message();
    std::fprintf(stderr, "%s\n", line.c_str());
}

enum class LoadStatus { kOk, kMissing, kFailed };

struct Loaded {
    LoadStatus status = LoadStatus::kFailed;
    std::shared_ptr<const Document> doc;
    std::optional<Stamp> stamp;  // set when the file exists
    Failure failure;             // set when the status is kFailed
};

bool readAll(int fd, std::string& out) {
    char buf[64 * 1024];
    for (;;) {
        const ssize_t n = ::read(fd, buf, sizeof buf);
        if (n == 0) return true;
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        out.append(buf, static_cast<size_t>(n));
        if (out.size() > CIniFile::kMaxFileBytes) {
            errno = EFBIG;
            return false;
        }
    }
}

// The parsed file at path, from the cache when the file on disk is the one parsed last.
// Must be called with gMutex held.
Loaded load(const std::string& path) {
    Loaded r;
    if (path.empty()) return r;
    const int64_t capturedAt = wallClockNs();
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) {
        if (errno == ENOENT) {
            r.status = LoadStatus::kMissing;
            r.doc = std::make_shared<const Document>();
        } else {
            r.failure = {"cannot look at the file", errno};
        }
        return r;
    }
    if (S_ISDIR(st.st_mode)) {
        r.failure = {"a folder has its name", EISDIR};
        return r;
    }
    const auto cached = gCache.find(path);
    if (cached != gCache.end() && cached->second.stamp == Stamp::of(st) && !cached->second.racy) {
        cached->second.lastUse = ++gUseClock;
        r.status = LoadStatus::kOk;
        r.doc = cached->second.doc;
        r.stamp = cached->second.stamp;
        return r;
    }
    if (static_cast<uintmax_t>(st.st_size) > CIniFile::kMaxFileBytes) {
        r.failure = {"the file is larger than 64 MB", EFBIG};
        return r;
    }

    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        r.failure = {"cannot open the file", errno};
        return r;
    }
    // The stamp is taken from the open file, so that a change racing with the read shows up
    // as a different stamp on the next access rather than being taken for this content.
    struct stat fst {};
    std::string bytes;
    const bool ok = ::fstat(fd, &fst) == 0 && !S_ISDIR(fst.st_mode) && readAll(fd, bytes);
    const int err = errno;
    ::close(fd);
    if (!ok) {
        r.failure = {"cannot read the file", err};
        return r;
    }
    const Stamp stamp = Stamp::of(fst);
    r.status = LoadStatus::kOk;
    r.stamp = stamp;

    if (cached != gCache.end() && cached->second.racy && cached->second.stamp == stamp &&
        cached->second.bytes == bytes) {
        CacheEntry& e = cached->second;
        e.lastUse = ++gUseClock;
        e.racy = isRacy(stamp, capturedAt);
        if (!e.racy) std::string().swap(e.bytes);
        r.doc = e.doc;
        return r;
    }

    // Made mutable, so that a change can take it over from the cache (see modifyFile).
    std::shared_ptr<const Document> doc = std::make_shared<Document>(parse(bytes));
    gParseCount.fetch_add(1, std::memory_order_relaxed);
    r.doc = doc;
    remember(path, stamp, std::move(doc), capturedAt, std::move(bytes));
    return r;
}

bool writeAllFd(int fd, std::string_view data) {
    while (!data.empty()) {
        const ssize_t n = ::write(fd, data.data(), data.size());
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

// A writer killed between creating its temporary and renaming it leaves ".NAME.tmp<pid>-<n>"
// behind. The first write into a folder removes those whose process is gone; a live one, or a
// pid now reused, keeps its file. Must be called with gMutex held.
void sweepStaleTemporaries(const fs::path& dir) {
    if (!gSweptFolders.insert(dir.string()).second) return;
    std::error_code ec;
    for (auto it = fs::directory_iterator(dir, ec); !ec && it != fs::directory_iterator(); it.increment(ec)) {
        const std::string name = it->path().filename().string();
        const size_t mark = name.rfind(".tmp");
        if (name.size() < 2 || name[0] != '.' || mark == std::string::npos || mark == 0) continue;
        const char* digits = name.c_str() + mark + 4;
        char* end = nullptr;
        errno = 0;
        const long pid = std::strtol(digits, &end, 10);
        if (end == digits || *end != '-' || errno != 0 || pid <= 0 || pid > INT32_MAX) continue;
        const char* counter = end + 1;
        if (*counter == '\0' ||
            std::string_view(counter).find_first_not_of("0123456789") != std::string_view::npos)
            continue;
        if (pid == ::getpid() || ::kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH) continue;
        ::unlink(it->path().c_str());
    }
}

// Writes the new content beside the file and renames it over the file, so that whatever
// happens to the process, the file is either the old one or the new one, never a part. The
// copy reaches the disk before the rename: otherwise a power cut soon after could leave the
// new name on an empty file. Must be called with gMutex held.
bool replaceFile(const std::string& path, Document&& doc, const std::optional<Stamp>& old, Failure& failure) {
    // A link is followed, so that a profile kept elsewhere behind a link stays there.
    fs::path target(path);
    struct stat lst {};
    if (::lstat(path.c_str(), &lst) == 0 && S_ISLNK(lst.st_mode)) {
        if (char* real = ::realpath(path.c_str(), nullptr)) {
            target = real;
            std::free(real);
        }
    }
    const fs::path dir = target.has_parent_path() ? target.parent_path() : fs::path(".");
    sweepStaleTemporaries(dir);
    std::string tmp;
    int fd = -1;
    for (int attempt = 0; attempt < 16 && fd < 0; ++attempt) {
        tmp = (dir / ("." + target.filename().string() + ".tmp" + std::to_string(::getpid()) + "-" +
                      std::to_string(gTempCounter.fetch_add(1))))
                  .string();
        // 0666 under the umask: a new file gets the permissions any other new file would.
        fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST) break;
    }
    if (fd < 0) {
        failure = {"cannot create a file in its folder", errno};
        return false;
    }

    std::string bytes = doc.serialize();
    if (old && ::fchmod(fd, old->mode & 07777) != 0) {
        failure = {"cannot give the new copy the file's permissions", errno};
    } else if (!writeAllFd(fd, bytes)) {
        failure = {"cannot write the new copy", errno};
    } else if (::fsync(fd) != 0) {
        failure = {"cannot flush the new copy to the disk", errno};
    }
    if (::close(fd) != 0 && !failure.what) failure = {"cannot write the new copy", errno};
    if (!failure.what && ::rename(tmp.c_str(), target.c_str()) != 0) {
        failure = {"cannot put the new copy in place", errno};
    }
    if (failure.what) {
        ::unlink(tmp.c_str());
        return false;
    }

    const int64_t capturedAt = wallClockNs();
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0) {
        remember(path, Stamp::of(st), std::make_shared<Document>(std::move(doc)), capturedAt,
                 std::move(bytes));
    } else {
        gCache.erase(path);
    }
    return true;
}

struct Names {
    std::string_view section;
    std::string_view key;
};

Names lookupNames(std::string_view section, std::string_view key) {
    return Names{trimBlanks(upToNul(section)), trimBlanks(upToNul(key))};
}

// The value as GetPrivateProfileString hands it out.
Bytes profileValue(const std::string& path, std::string_view section, std::string_view key) {
    const Names n = lookupNames(section, key);
    if (n.section.empty() || n.key.empty()) return {};
    const std::shared_ptr<const Document> doc = cachedDocument(path);
    return ini::profileValue(doc->rawValue(foldName(n.section), foldName(n.key)), CIniFile::kMaxValueBytes);
}

}  // namespace

std::shared_ptr<const Document> ini::cachedDocument(const std::string& path) {
    std::lock_guard lock(gMutex);
    Loaded l = load(path);
    if (l.status != LoadStatus::kOk) return std::make_shared<const Document>();
    return std::move(l.doc);
}

bool ini::modifyFile(const std::string& path, const std::function<bool(Document&)>& edit) {
    std::lock_guard lock(gMutex);
    Loaded l = load(path);
    if (l.status == LoadStatus::kFailed) {
        reportFailure(path, l.failure);
        return false;
    }
    // A large file is not copied for a change when nothing but the cache holds its document:
    // the change takes it over, and it goes back unless a write replaces it. Every cached
    // document was made mutable; only the handle to it is const.
    const auto cached = gCache.find(path);
    const bool taken = cached != gCache.end() && cached->second.doc == l.doc && l.doc.use_count() == 2;
    Document doc = taken ? std::move(const_cast<Document&>(*l.doc)) : *l.doc;
    if (!edit(doc)) {
        if (taken) const_cast<Document&>(*l.doc) = std::move(doc);
        return true;
    }
    Failure failure;
    if (!replaceFile(path, std::move(doc), l.stamp, failure)) {
        if (taken) gCache.erase(path);
        reportFailure(path, failure);
        return false;
    }
    gReported.erase(path);
    return true;
}

bool fileExists(const std::string& path) {
    if (path.empty()) return false;
    std::error_code ec;
    const fs::file_status st = fs::status(path, ec);
    return !ec && fs::exists(st) && !fs::is_directory(st);
}

std::string CIniFile::MakePath(std::string_view strDrv, std::string_view strDir) {
    // A trailing 0x5C may be the trail byte of a two-byte character, not a separator: only
    // separators that stand as characters of their own are dropped.
    size_t keep = 0;
    size_t i = 0;
    while (i < strDrv.size()) {
        const auto c = static_cast<unsigned char>(strDrv[i]);
        const size_t step = c >= 0x80 ? 2 : 1;
        if (step == 2 || (c != '\\' && c != '/')) keep = std::min(i + step, strDrv.size());
        i += step;
    }
    strDrv = strDrv.substr(0, keep);
    while (!strDir.empty() && (strDir.front() == '\\' || strDir.front() == '/')) strDir.remove_prefix(1);
    std::string out;
    out.reserve(strDrv.size() + 1 + strDir.size());
    out.append(strDrv).append("/").append(strDir);
    return out;
}

bool CIniFile::WriteIniKey(std::string_view section, std::string_view key, std::string_view value) {
    std::optional<KeyWrite> w = prepareWrite(section, key, value);
    if (!w) return false;
    return modifyFile(path_, [&](Document& doc) { return applyWrites(doc, {*std::move(w)}); });
}

Bytes CIniFile::GetIniKey(std::string_view section, std::string_view key) const {
    const Bytes v = profileValue(path_, section, key);
    Bytes out(trimSpaces(v));
    std::erase(out, '\0');
    return out;
}

Bytes CIniFile::GetIniKey1(std::string_view section, std::string_view key) const {
    Bytes out = profileValue(path_, section, key);
    out.resize(kMaxValueBytes, ' ');
    std::erase(out, '\0');
    return out;
}

namespace {
// Removes the marked lines and rebuilds the section index over what is left.
void dropLines(Document& doc, const std::vector<bool>& drop) {
    std::vector<Line> kept;
    kept.reserve(doc.lines.size());
    for (size_t i = 0; i < doc.lines.size(); ++i) {
        if (!drop[i]) kept.push_back(std::move(doc.lines[i]));
    }
    doc.lines = std::move(kept);
    doc.reindex();
}
}  // namespace

bool CIniFile::DelIniKey(std::string_view section, std::string_view key) {
    const Names n = lookupNames(section, key);
    if (n.section.empty() || n.key.empty()) return true;
    const std::string foldedSec = foldName(n.section);
    const std::string foldedKey = foldName(n.key);
    return modifyFile(path_, [&](Document& doc) {
        std::vector<bool> drop(doc.lines.size(), false);
        bool any = false;
        for (const Section& s : doc.sections) {
            if (foldName(classify(doc.lines[s.header].text).name) != foldedSec) continue;
            for (size_t i = s.header + 1; i < s.end; ++i) {
                const LineView v = classify(doc.lines[i].text);
                if (v.kind == LineKind::kKey && foldName(v.name) == foldedKey) drop[i] = any = true;
            }
        }
        if (!any) return false;
        dropLines(doc, drop);
        return true;
    });
}

bool CIniFile::DelIniSec(std::string_view section) {
    const std::string_view sec = trimBlanks(upToNul(section));
    if (sec.empty()) return true;
    const std::string foldedSec = foldName(sec);
    return modifyFile(path_, [&](Document& doc) {
        std::vector<bool> drop(doc.lines.size(), false);
        bool any = false;
        for (const Section& s : doc.sections) {
            if (foldName(classify(doc.lines[s.header].text).name) != foldedSec) continue;
            for (size_t i = s.header; i < s.end; ++i) drop[i] = true;
            any = true;
        }
        if (!any) return false;
        dropLines(doc, drop);
        return true;
    });
}

uint64_t CIniFile::diskParseCount() {
    return gParseCount.load(std::memory_order_relaxed);
}

void CIniFile::setWallClock(int64_t (*nowNs)()) {
    gWallClock = nowNs ? nowNs : systemClockNs;
}

void CIniFile::dropCache() {
    std::lock_guard lock(gMutex);
    gCache.clear();
}

}  // namespace nq
