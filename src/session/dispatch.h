#pragma once
// The server message handler as a table: each subsystem registers the leaves it owns under
// (type, sub), and HandleServerMessage runs the one that matches the last parsed frame.

#include <functional>
#include <map>
#include <utility>

#include "wire/frame_kinds.h"

namespace nq {

class Session;

// A leaf reads the session's head and cuts msgBody as it goes.
using Handler = std::function<void(Session&)>;

class DispatchTable {
  public:
    // Registers a leaf for a frame kind. kAnySub covers every sub of a family that does not
    // look at its sub (keep-alive answers, direct-link set-up). A later registration replaces.
    static constexpr int kAnySub = -1;
    void on(int type, int sub, Handler handler);
    void on(FrameKind kind, Handler handler) { on(kind.type, kind.sub, std::move(handler)); }

    // Runs the leaf for (type, sub), falling back to the family's kAnySub leaf. The fields are
    // floats that hold whole numbers; anything else matches no leaf. Returns whether one ran.
    bool dispatch(Session& session, float type, float sub) const;

    bool has(int type, int sub) const { return leaves_.count({type, sub}) != 0; }
    bool has(FrameKind kind) const { return has(kind.type, kind.sub); }

  private:
    std::map<std::pair<int, int>, Handler> leaves_;
};

}  // namespace nq
