#include "conversation/file_request.h"

#include "session/session.h"
#include "wire/fields.h"
#include "wire/frame_kinds.h"

namespace nq {

bool FileRequests::request(const Bytes& path, double size, const Bytes& caption) {
    if (path.empty() || fileSendCount >= kSlots) return false;
    const auto row = static_cast<size_t>(fileSendCount);
    fileSendTable[row] = {caption, size, path, true, shortName(path)};
    fileSendState[row] = 0;
    ++fileSendCount;
    // The second field is the window's caption ("与x聊天中"), not the peer's account: the
    // server is left to make the peer out of it.
    session_.queueFrame(kind::kFileRequest, code::kNone, joinFields({session_.myName, caption}));
    return true;
}

// Folders end at "/" here, where the Windows paths the table was made for used "\\".
Bytes FileRequests::shortName(const Bytes& path) {
    const size_t cut = path.find_last_of('/');
    return cut == Bytes::npos ? path : path.substr(cut + 1);
}

}  // namespace nq
