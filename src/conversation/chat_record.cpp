#include "conversation/chat_record.h"

#include <fcntl.h>
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

// Bytes one read asks for when a page is looked up: enough for the walk from a remembered start
// (about a 4096th of the file) in a read or two, without a scan's megabyte per page.
constexpr std::size_t kPageReadChunk = std::size_t{64} << 10;
// No line the client writes comes near this many bytes; a record longer than that can only come
// from a damaged or foreign file, and is shown cut here so that one record cannot bring the whole
// file into memory (and into the pane).
constexpr std::size_t kMaxShownRecordBytes = std::size_t{1} << 20;
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

// The file read through one buffer of `chunk` bytes. `end` is the snapshot's size; a read that
// comes back short (the file was shortened, or failed) lowers it to where the bytes stopped, for
// this reader and every later one, so nothing past it is asked for again.
class ChunkReader {
  public:
    ChunkReader(int fd, std::size_t& end, std::size_t chunk) : fd_(fd), end_(end), buffer_(chunk) {}

    std::size_t end() const { return end_; }

    // The bytes at hand from `at` on: `want` or more of them unless the buffer is shorter or the
    // file ends first. Empty at or past the end.
    std::string_view at(std::size_t at, std::size_t want) {
        const std::size_t held = begin_ + length_;
        if (at < end_ && (at < begin_ || at >= held || (at + want > held && held < end_))) load(at);
        if (at < begin_ || at >= begin_ + length_) return {};
        return {buffer_.data() + (at - begin_), begin_ + length_ - at};
    }

    // Offset of the next separator at or after `pos`, or the end when there is none. Like a
    // split from the left, a run of three code-1 bytes separates at its first two.
    std::size_t findSeparator(std::size_t pos) {
        for (;;) {
            const std::string_view bytes = at(pos, kRecordSeparator.size());
            if (bytes.size() < kRecordSeparator.size()) return std::max(pos, end_);
            const void* hit = std::memchr(bytes.data(), kRecordSeparator[0], bytes.size() - 1);
            if (!hit) {
                // The last byte may open a separator that the next chunk closes.
                pos += bytes.size() - 1;
                continue;
            }
            const auto offset = static_cast<std::size_t>(static_cast<const char*>(hit) - bytes.data());
            if (bytes[offset + 1] == kRecordSeparator[1]) return pos + offset;
            pos += offset + 1;
        }
    }

    // Appends the bytes from `from` up to `to` to `out`, fewer when the file ends first.
    void copy(std::size_t from, std::size_t to, std::string& out) {
        while (from < to) {
            const std::string_view bytes = at(from, to - from);
            if (bytes.empty()) return;
            const std::size_t taken = std::min(bytes.size(), to - from);
            out.append(bytes.data(), taken);
            from += taken;
        }
    }

  private:
    void load(std::size_t at) {
        begin_ = at;
        length_ = 0;
        const std::size_t want = std::min(buffer_.size(), end_ - at);
        while (length_ < want) {
            const ssize_t n =
                ::pread(fd_, buffer_.data() + length_, want - length_, static_cast<off_t>(at + length_));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                end_ = at + length_;
                return;
            }
            length_ += static_cast<std::size_t>(n);
        }
    }

    int fd_;
    std::size_t& end_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0;  // file offset of buffer_[0]
    std::size_t length_ = 0;
};

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

ChatRecord::ChatRecord(const std::string& file, std::size_t chunkBytes) : chunk_(chunkBytes) {
    // Non-blocking so that a FIFO in the file's place cannot hang the opening; reads of a
    // regular file ignore the flag.
    fd_ = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd_ < 0) return;
    struct stat st {};
    if (::fstat(fd_, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0) {
        // The writers only ever append, so this length is the snapshot as it was at opening.
        end_ = static_cast<std::size_t>(st.st_size);
    } else {
        ::close(fd_);
        fd_ = -1;
    }
}

ChatRecord::~ChatRecord() {
    if (fd_ >= 0) ::close(fd_);
}

ChatRecord::ChatRecord(ChatRecord&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)),
      end_(std::exchange(other.end_, 0)),
      chunk_(other.chunk_),
      page_(std::move(other.page_)),
      scan_(std::move(other.scan_)) {
    other.scan_.valid = false;
}

ChatRecord& ChatRecord::operator=(ChatRecord&& other) noexcept {
    if (this != &other) {
        if (fd_ >= 0) ::close(fd_);
        fd_ = std::exchange(other.fd_, -1);
        end_ = std::exchange(other.end_, 0);
        chunk_ = other.chunk_;
        page_ = std::move(other.page_);
        scan_ = std::move(other.scan_);
        other.scan_.valid = false;
    }
    return *this;
}

void ChatRecord::scan(std::string_view contact) {
    scan_ = Scan{};
    scan_.contact.assign(contact);
    scan_.valid = true;
    if (end_ == 0) return;  // an empty file splits into no records at all

    // matchRecord looks at no more of a record than this.
    const std::size_t need = contact.size() + 1;
    ChunkReader in(fd_, end_, std::max({chunk_, need, kRecordSeparator.size()}));
    ::posix_fadvise(fd_, 0, 0, POSIX_FADV_SEQUENTIAL);
    std::string head;
    std::size_t pos = 0;
    for (;;) {
        // Copied: finding the record's end may move the buffer on.
        head.assign(in.at(pos, need).substr(0, need));
        const std::size_t end = in.findSeparator(pos);
        if (matchRecord(std::string_view(head).substr(0, end - pos), contact) != Match::None) {
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
        if (end >= in.end()) break;
        pos = end + kRecordSeparator.size();
    }
    ::posix_fadvise(fd_, 0, 0, POSIX_FADV_NORMAL);
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
    page_.clear();
    if (first > last) return shown;

    const std::size_t need = contact.size() + 1;
    ChunkReader in(fd_, end_, std::max({std::min(chunk_, kPageReadChunk), need, kRecordSeparator.size()}));
    // Where each shown record lies in page_, which may move while it grows.
    std::vector<std::pair<std::size_t, std::size_t>> pieces;
    std::string head;
    // Start at the remembered record at or before the oldest wanted one and walk forwards.
    const std::size_t slot = static_cast<std::size_t>(first - 1) / static_cast<std::size_t>(scan_.stride);
    int number = static_cast<int>(slot) * scan_.stride + 1;
    std::size_t pos = scan_.starts[slot];
    while (number <= last) {
        head.assign(in.at(pos, need).substr(0, need));
        const std::size_t end = in.findSeparator(pos);
        const Match match = matchRecord(std::string_view(head).substr(0, end - pos), contact);
        if (match != Match::None) {
            if (number >= first) {
                const std::size_t from = pos + (match == Match::DollarName ? need : 0);
                const std::size_t at = page_.size();
                in.copy(from, std::min(end, from + kMaxShownRecordBytes), page_);
                pieces.emplace_back(at, page_.size() - at);
            }
            ++number;
        }
        if (end >= in.end()) break;
        pos = end + kRecordSeparator.size();
    }
    shown.reserve(pieces.size());
    for (auto piece = pieces.rbegin(); piece != pieces.rend(); ++piece)
        shown.push_back(splitShownRecord(std::string_view(page_).substr(piece->first, piece->second)));
    return shown;
}

}  // namespace nq
