#include "conversation/incoming_queue.h"

#include <cmath>

namespace nq {

IncomingQueue::Slot& IncomingQueue::at(int slot) {
    if (slot < 1 || slot > kSlots) {
        slots_[0] = Slot{};
        return slots_[0];
    }
    return slots_[static_cast<size_t>(slot)];
}

const IncomingQueue::Slot& IncomingQueue::at(int slot) const {
    return slot < 1 || slot > kSlots ? slots_[0] : slots_[static_cast<size_t>(slot)];
}

void IncomingQueue::wrap() {
    if (writeIndex == static_cast<float>(kSlots)) writeIndex = 1.0f;
}

int IncomingQueue::lastWritten() const {
    return static_cast<int16_t>(std::lround(writeIndex - 1.0f));
}

std::optional<int> IncomingQueue::pickFor(std::string_view lbFrd, std::string_view ownAccount) const {
    const int last = lastWritten();
    for (int i = readIndex; i <= last; ++i) {
        const Slot& s = at(i);
        const bool person = lbFrd == s.sender && s.kind != kFree && s.kind != kGroupLine;
        const bool group = lbFrd == s.receiver && s.sender != ownAccount && s.kind == kGroupLine;
        const bool room = lbFrd == s.room && s.kind == kRoomLine;
        if (person || group || room) return i;
    }
    return std::nullopt;
}

void IncomingQueue::consume(int slot) {
    at(slot).kind = kFree;
    ++readIndex;
}

void IncomingQueue::reset() {
    writeIndex = 1.0f;
    readIndex = 1;
}

}  // namespace nq
