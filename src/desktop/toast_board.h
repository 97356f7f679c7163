#pragma once
// What all toasts of one program share, owned by the application and handed to each toast:
// the slot counter that stacks them, the services that play their sound, and where they read
// the stored transparency.

#include <cstdint>
#include <functional>
#include <string>

namespace nq {

class PlatformServices;

class ToastBoard {
  public:
    static constexpr std::int16_t kSlots = 4;

    explicit ToastBoard(PlatformServices& services) : services_(services) {}
    ToastBoard(const ToastBoard&) = delete;
    ToastBoard& operator=(const ToastBoard&) = delete;

    PlatformServices& services() { return services_; }

    // The next slot, 1 to kSlots; the fifth toast takes the first place without looking
    // whether it is free.
    [[nodiscard]] std::int16_t takeSlot() {
        if (++last_ > kSlots) last_ = 1;
        return last_;
    }
    // A toast that goes gives the counter back only when it holds the newest slot, so the next
    // toast opens one place above the older ones still standing.
    void releaseSlot(std::int16_t slot) {
        if (slot != 0 && last_ == slot) last_ = 0;
    }
    // The slot last handed out; 0 when none is taken.
    std::int16_t lastSlot() const { return last_; }

    // The "flag,alpha," TransValue text a toast applies at load, read when each toast opens so
    // that a change the user makes reaches the next toast. Without a reader toasts load opaque.
    void setTransValueReader(std::function<std::string()> reader) { transValue_ = std::move(reader); }
    std::string transValue() const { return transValue_ ? transValue_() : std::string(); }

  private:
    PlatformServices& services_;
    std::int16_t last_ = 0;
    std::function<std::string()> transValue_;
};

}  // namespace nq
