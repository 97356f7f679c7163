#pragma once
// The chat record file, revMsg.nq: GBK text written only by appending, one record per line that
// opens with kRecordSeparator. Writers append one line at a time; the viewer indexes the file
// once and pages through one contact's records, newest page first.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "conversation/chat_mode.h"
#include "wire/gbk.h"

namespace nq {

// ---- Writing

// The line of a message that arrived: separator, sender, " (", time, ")", CR LF, two spaces,
// text. A group or room line puts "$", the group and the room in front of the sender (one of the
// two is empty). The closing line end is appendChatRecord's.
[[nodiscard]] Bytes incomingRecordLine(std::string_view sender, std::string_view group, std::string_view room,
                                       std::string_view time, std::string_view text);
// The line of a message the user sent: separator, "$", conversation name, own name, " (", date
// and time, ")", CR LF, two spaces, text.
[[nodiscard]] Bytes outgoingRecordLine(std::string_view conversation, std::string_view ownName,
                                       std::string_view dateTime, std::string_view text);

// Appends `line` and CR LF to `file`, creating the file when it is missing (not its folder).
// When this returns true the bytes are in the kernel: a crash of the program afterwards loses
// nothing. False when the file could not be opened or written; callers go on regardless.
bool appendChatRecord(const std::string& file, std::string_view line);

// ---- Reading

inline constexpr int kRecordPageSize = 20;
// Bytes one read of a scan asks for.
inline constexpr std::size_t kRecordReadChunk = std::size_t{1} << 20;

// The records one page wants, as numbers of the contact's records counted from the oldest (1)
// to the newest (matching), both ends included. The newest page takes 22 records when there are
// enough, and the later pages count from the oldest end, so pages overlap or skip records near
// the ends: that is the viewer's established paging and is kept as it is.
struct RecordPageBounds {
    int first = 0;
    int last = 0;
};
[[nodiscard]] RecordPageBounds recordPageBounds(int matching, int page);

// One record as the viewer writes it: `header` (name and time) in the header look, then `text`,
// which starts with the two spaces that indent the message.
struct ShownRecord {
    std::string_view header;
    std::string_view text;
};
// Splits a record before the first of its first two consecutive spaces; a record without two
// spaces is all header.
[[nodiscard]] ShownRecord splitShownRecord(std::string_view record);

// A snapshot of revMsg.nq as it was when opened: the file stays open and is read in chunks,
// never mapped. A file shortened or replaced in place while the viewer is open then reads short
// and shows fewer records (or other bytes), where touching a mapping past its new end would kill
// the program with SIGBUS. Memory holds one chunk, the remembered record starts and the page
// shown, whatever the file's size. A missing or unreadable file reads as empty.
class ChatRecord {
  public:
    ChatRecord() = default;
    // `chunkBytes`: what one read of a scan asks for. Tests pass a few bytes so that chunk edges
    // fall inside separators and names.
    explicit ChatRecord(const std::string& file, std::size_t chunkBytes = kRecordReadChunk);
    ~ChatRecord();
    ChatRecord(ChatRecord&& other) noexcept;
    ChatRecord& operator=(ChatRecord&& other) noexcept;
    ChatRecord(const ChatRecord&) = delete;
    ChatRecord& operator=(const ChatRecord&) = delete;

    // The records of `contact`: those that begin with the name (a line received from that
    // person) and those that begin with "$" and the name (sent to the person, or a group's or
    // room's line). Plain prefix tests, so "bo" also counts bob's records. Element 0 of the
    // split, what stands before the first separator, is a record like the others.
    [[nodiscard]] int countRecords(std::string_view contact);

    // The records of one page, newest first. A record found by the "$" test is shown from behind
    // "$" and the name, so that the sender's name leads its header. The views point into a copy
    // of the page held here until the next call.
    [[nodiscard]] std::vector<ShownRecord> showRecordPage(std::string_view contact, int page);

  private:
    void scan(std::string_view contact);

    int fd_ = -1;
    // The file's size when opened, lowered to where a read found the file ending sooner.
    std::size_t end_ = 0;
    std::size_t chunk_ = kRecordReadChunk;
    std::string page_;  // what the last page's views point into

    // What the last scan learnt of one contact: its record count and where every stride-th of
    // its records starts, so that a page is found without a second pass over the file.
    struct Scan {
        bool valid = false;
        std::string contact;
        int matching = 0;
        int stride = 1;
        std::vector<std::size_t> starts;  // start of record 1, 1 + stride, 1 + 2 * stride, ...
    } scan_;
};

}  // namespace nq
