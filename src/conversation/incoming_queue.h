#pragma once
// `incomingQueue`: the lines the server handler has taken in and the windows have not yet
// shown, in 1000 slots. The handler writes at `writeIndex`; each open window takes the oldest
// slot meant for it from `readIndex` on. Neither index ever goes back on its own, which is
// what makes two quirks part of the behaviour:
//
// - `readIndex` moves by one per delivery, whichever slot was delivered. A window that takes
//   a later slot first pushes the index past an older one, which nobody looks at again.
// - `writeIndex` wraps to slot 2 after slot 1000 (slot 1 is used once a session), but
//   `readIndex` never wraps: once the writer has gone round, delivery stops until the next
//   start of the session.

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "wire/gbk.h"

namespace nq {

class IncomingQueue {
  public:
    static constexpr int kSlots = 1000;

    // What a slot holds, as the float the slot keeps. Kind 6 has a place in the scan but
    // nothing ever fills it.
    static constexpr float kFree = 0;          // consumed, or never used
    static constexpr float kFriendLine = 1;    // (2,1) from a friend or from somebody on the blacklist
    static constexpr float kGroupLine = 2;     // (2,2)
    static constexpr float kMemberLine = 3;    // (2,1) from a person known only from a group, any (2,3)
    static constexpr float kStrangerLine = 4;  // (2,1) from anybody else
    static constexpr float kRoomLine = 5;      // (2,7) code 3
    static constexpr float kJoinRequest = 7;   // (7,5): somebody asks to join a group the user owns

    // One slot: the five parallel fields.
    struct Slot {
        Bytes sender;    // display name of the speaker
        Bytes receiver;  // the group of a group line, else empty
        Bytes room;      // the room of a room line, else empty
        Bytes text;      // "font/size/colour/time/text"
        float kind = kFree;
    };

    // Slot 1..1000; any other number gives a scratch slot that no walk reaches.
    [[nodiscard]] Slot& at(int slot);
    [[nodiscard]] const Slot& at(int slot) const;
    [[nodiscard]] Slot& writeSlot() { return at(static_cast<int>(writeIndex)); }

    // The writer's two steps, apart because the leaves play their sound between them (or not).
    // wrap: a writer standing on slot 1000 goes back to 1, before the step that follows.
    void wrap();
    void advance() { writeIndex += 1.0f; }

    // The last slot a walk from readIndex looks at: writeIndex - 1, as a 16-bit number.
    [[nodiscard]] int lastWritten() const;

    // The first slot from readIndex meant for the window whose name label reads lbFrd: a
    // person's line (any kind but 0 and 2) by sender, a group line by group unless the user
    // sent it himself, a room line by room.
    [[nodiscard]] std::optional<int> pickFor(std::string_view lbFrd, std::string_view ownAccount) const;
    // A delivered slot is free again, and readIndex moves on by one, whichever slot it was.
    void consume(int slot);

    // The start of a session: both indices back to the start; the slots keep their content.
    void reset();

    float writeIndex = 1.0f;
    int16_t readIndex = 1;

  private:
    std::array<Slot, kSlots + 1> slots_{};  // [0] is the scratch slot
};

}  // namespace nq
