#pragma once
// Incoming frames dispatched by kind: each handler is registered once under the name the wire
// gives its (type, sub), and a family read by type alone (keep-alive) under its type.

#include <cstdint>
#include <map>
#include <utility>

#include "wire/frame_kinds.h"

namespace nq::server {

template <typename Handler>
class FrameTable {
  public:
    FrameTable& on(FrameKind kind, Handler handler) {
        leaves_[{kind.type, kind.sub}] = handler;
        return *this;
    }
    FrameTable& onFamily(uint16_t type, Handler handler) {
        families_[type] = handler;
        return *this;
    }
    // The handler for this (type, sub), else the one for its family; nothing when neither.
    const Handler* find(FrameKind kind) const {
        if (auto it = leaves_.find({kind.type, kind.sub}); it != leaves_.end()) return &it->second;
        if (auto it = families_.find(kind.type); it != families_.end()) return &it->second;
        return nullptr;
    }

  private:
    std::map<std::pair<uint16_t, uint16_t>, Handler> leaves_;
    std::map<uint16_t, Handler> families_;
};

}  // namespace nq::server
