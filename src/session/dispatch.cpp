#include "session/dispatch.h"

#include <cmath>

namespace nq {

void DispatchTable::on(int type, int sub, Handler handler) {
    leaves_[{type, sub}] = std::move(handler);
}

bool DispatchTable::dispatch(Session& session, float type, float sub) const {
    if (type != std::floor(type) || sub != std::floor(sub)) return false;
    auto it = leaves_.find({static_cast<int>(type), static_cast<int>(sub)});
    if (it == leaves_.end()) it = leaves_.find({static_cast<int>(type), kAnySub});
    if (it == leaves_.end()) return false;
    it->second(session);
    return true;
}

}  // namespace nq
