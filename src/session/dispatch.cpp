#include "session/dispatch.h"

#include <cmath>

namespace nq {

bool DispatchTable::dispatch(Session& session, float type, float sub) const {
    if (type != std::floor(type) || sub != std::floor(sub)) return false;
    auto it = leaves_.find({static_cast<int>(type), static_cast<int>(sub)});
    if (it == leaves_.end()) it = leaves_.find({static_cast<int>(type), kAnySub});
    if (it == leaves_.end()) return false;
    it->second(session);
    return true;
}

}  // namespace nq
