#pragma once
// The first step of sending a file, the only one this version has: the file chosen in a chat
// window is noted in a table that lives as long as the program, and the server is asked for the
// peer with a (10,1) frame. The answers are read by the session's direct-link leaf. No file
// bytes leave the client, and the chat window's four buttons that lead here stay disabled.

#include <array>
#include <cstdint>

#include "wire/gbk.h"

namespace nq {

class Session;

struct FileSendSlot {
    Bytes peer;       // the chat window's caption
    double size = 0;  // bytes
    Bytes path;
    bool outgoing = false;
    Bytes shortName;  // the path without its folders
};

class FileRequests {
  public:
    static constexpr int kSlots = 100;

    explicit FileRequests(Session& session) : session_(session) {}

    // The window's file button after its dialog: an empty path stops; otherwise a row is filled
    // and the request queued. Past the last slot nothing happens and nothing is said. True when
    // a request went out.
    bool request(const Bytes& path, double size, const Bytes& caption);
    static Bytes shortName(const Bytes& path);

    // The index of the next row; it only grows.
    int fileSendCount = 0;
    std::array<FileSendSlot, kSlots> fileSendTable{};
    std::array<int16_t, kSlots> fileSendState{};

  private:
    Session& session_;
};

}  // namespace nq
