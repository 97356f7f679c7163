#pragma once
// The server message handler as a table: each subsystem registers the leaves it owns under
// their frame kind, and HandleServerMessage runs the one that matches the last parsed frame.

#include <cstdint>
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
    // Registers the leaf of a frame kind. A later registration replaces.
    void on(FrameKind kind, Handler handler) { leaves_[{kind.type, kind.sub}] = std::move(handler); }
    // Registers the leaf of a family whose sub is not looked at (keep-alive answers, direct-link
    // set-up); a leaf registered for one of its kinds comes first.
    void onFamily(uint16_t type, Handler handler) { leaves_[{type, kAnySub}] = std::move(handler); }

    // Runs the leaf for (type, sub), falling back to the family's leaf. The fields are floats
    // that hold whole numbers; anything else matches no leaf. Returns whether one ran.
    bool dispatch(Session& session, float type, float sub) const;

  private:
    static constexpr int kAnySub = -1;
    std::map<std::pair<int, int>, Handler> leaves_;
};

}  // namespace nq
