#include "conversation/chat_record.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace nq {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kIndent = "  ";

// A scan hands the pages it has passed back to the kernel in steps of this many bytes, which is
// what bounds the memory a scan of a large file holds at once.
constexpr std::size_t kReleaseStep = std::size_t{16} << 20;
// At most this many remembered record starts per contact: 32 KiB of offsets whatever the file's
// size, at the cost of walking up to count/4096 of the contact's records to reach a page.
constexpr std::size_t kMaxStarts = 4096;

Bytes recordLine(std::string_view lead, std::string_view name, std::string_view time, std::string_view text) {
    Bytes line;
    line.reserve(kRecordSeparator.size() + lead.size() + name.size() + time.size() + text.size() + 8);
    line += kRecordSeparator;
    line += lead;
    line += name;
    line += " (";
    line += time;
    line += ")";
    line += kLineEnd;
    line += kIndent;
    line += text;
    return line;
}

// Offset of the next separator at or after `pos`, or `size` when there is none. Like a split
// from the left, a run of three code-1 bytes separates at its first two.
std::size_t findSeparator(const char* data, std::size_t size, std::size_t pos) {
    while (pos + 1 < size) {
        const void* hit = std::memchr(data + pos, kRecordSeparator[0], size - pos - 1);
        if (!hit) break;
        const auto at = static_cast<std::size_t>(static_cast<const char*>(hit) - data);
        if (data[at + 1] == kRecordSeparator[1]) return at;
        pos = at + 1;
    }
    return size;
}

enum class Match { None, Name, DollarName };

Match matchRecord(std::string_view record, std::string_view contact) {
    if (record.starts_with(contact)) return Match::Name;
    // A third shape, "$", the name and the own nick (a line the user sent), needs no test of
    // its own: every such record already begins with "$" and the name.
    if (record.size() > contact.size() && record.front() == '$' && record.substr(1).starts_with(contact))
        return Match::DollarName;
    return Match::None;
}

}  // namespace

Bytes incomingRecordLine(std::string_view sender, std::string_view group, std::string_view room,
                         std::string_view time, std::string_view text) {
    if (group.empty() && room.empty()) return recordLine({}, sender, time, text);
    Bytes lead = "$";
    lead += group;
    lead += room;
    return recordLine(lead, sender, time, text);
}

Bytes outgoingRecordLine(std::string_view conversation, std::string_view ownName, std::string_view dateTime,
                         std::string_view text) {
    Bytes lead = "$";
    lead += conversation;
    return recordLine(lead, ownName, dateTime, text);
}

bool appendChatRecord(const std::string& file, std::string_view line) {
    // One write() of the whole line with O_APPEND: the line lands at the end in one piece even
    // if another client of the same account appends at the same moment. Once write() returns the
    // bytes are in the page cache, which survives a crash of this program; an fsync per line
    // would add milliseconds of disk wait to every message on the UI thread for the sake of a
    // power cut, which a chat history does not justify.
    const int fd = ::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) return false;
    Bytes buffer;
    buffer.reserve(line.size() + kLineEnd.size());
    buffer += line;
    buffer += kLineEnd;
    bool ok = true;
    std::size_t done = 0;
    while (done < buffer.size()) {
        const ssize_t n = ::write(fd, buffer.data() + done, buffer.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            ok = false;
            break;
        }
        done += static_cast<std::size_t>(n);
    }
    if (::close(fd) != 0) ok = false;
    return ok;
}

RecordPageBounds recordPageBounds(int matching, int page) {
    const int before = page * kRecordPageSize;
    if (matching > before) {
        if (matching - before < kRecordPageSize) return {1, matching - before};
        if (page == 0) return {matching - (kRecordPageSize + 1), matching};
        return {before + 1, before + kRecordPageSize};
    }
    return {before + 1, matching};
}

ShownRecord splitShownRecord(std::string_view record) {
    const std::size_t cut = record.find(kIndent);
    if (cut == std::string_view::npos) return {record, {}};
    return {record.substr(0, cut), record.substr(cut)};
}

ChatRecord::ChatRecord(const std::string& file) {
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0) {
        const auto size = static_cast<std::size_t>(st.st_size);
        // Private and read-only: the writers only ever append, so the mapped length stays a
        // snapshot of the file as it was at opening.
        void* map = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
        if (map != MAP_FAILED) {
            data_ = static_cast<const char*>(map);
            size_ = size;
        }
    }
    ::close(fd);
}

ChatRecord::~ChatRecord() {
    if (data_) ::munmap(const_cast<char*>(data_), size_);
}

ChatRecord::ChatRecord(ChatRecord&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      scan_(std::move(other.scan_)) {
    other.scan_.valid = false;
}

ChatRecord& ChatRecord::operator=(ChatRecord&& other) noexcept {
    if (this != &other) {
        if (data_) ::munmap(const_cast<char*>(data_), size_);
        data_ = std::exchange(other.data_, nullptr);
        size_ = std::exchange(other.size_, 0);
        scan_ = std::move(other.scan_);
        other.scan_.valid = false;
    }
    return *this;
}

std::size_t ChatRecord::release(std::size_t from, std::size_t to) const {
    static const auto kPage = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    to = to / kPage * kPage;
    if (to > from) ::madvise(const_cast<char*>(data_) + from, to - from, MADV_DONTNEED);
    return to;
}

void ChatRecord::scan(std::string_view contact) {
    scan_ = Scan{};
    scan_.contact.assign(contact);
    scan_.valid = true;
    if (size_ == 0) return;  // an empty file splits into no records at all

    ::madvise(const_cast<char*>(data_), size_, MADV_SEQUENTIAL);
    std::size_t released = 0;
    std::size_t pos = 0;
    for (;;) {
        const std::size_t end = findSeparator(data_, size_, pos);
        if (matchRecord({data_ + pos, end - pos}, contact) != Match::None) {
            if (scan_.matching % scan_.stride == 0) {
                scan_.starts.push_back(pos);
                if (scan_.starts.size() > kMaxStarts) {
                    std::size_t kept = 0;
                    for (std::size_t i = 0; i < scan_.starts.size(); i += 2)
                        scan_.starts[kept++] = scan_.starts[i];
                    scan_.starts.resize(kept);
                    scan_.stride *= 2;
                }
            }
            ++scan_.matching;
        }
        if (end >= size_) break;
        pos = end + kRecordSeparator.size();
        if (pos - released >= kReleaseStep) released = release(released, pos);
    }
    ::madvise(const_cast<char*>(data_), size_, MADV_NORMAL);
}

int ChatRecord::countRecords(std::string_view contact) {
    if (!scan_.valid || scan_.contact != contact) scan(contact);
    return scan_.matching;
}

std::vector<ShownRecord> ChatRecord::showRecordPage(std::string_view contact, int page) {
    const int matching = countRecords(contact);
    const RecordPageBounds bounds = recordPageBounds(matching, page);
    const int first = std::max(bounds.first, 1);
    const int last = std::min(bounds.last, matching);
    std::vector<ShownRecord> shown;
    if (first > last) return shown;

    // Start at the remembered record at or before the oldest wanted one and walk forwards.
    const std::size_t slot = static_cast<std::size_t>(first - 1) / static_cast<std::size_t>(scan_.stride);
    int number = static_cast<int>(slot) * scan_.stride + 1;
    std::size_t pos = scan_.starts[slot];
    while (number <= last) {
        const std::size_t end = findSeparator(data_, size_, pos);
        const std::string_view record{data_ + pos, end - pos};
        const Match match = matchRecord(record, contact);
        if (match != Match::None) {
            if (number >= first) {
                const std::size_t skip = match == Match::DollarName ? 1 + contact.size() : 0;
                shown.push_back(splitShownRecord(record.substr(skip)));
            }
            ++number;
        }
        if (end >= size_) break;
        pos = end + kRecordSeparator.size();
    }
    std::reverse(shown.begin(), shown.end());
    return shown;
}

}  // namespace nq
