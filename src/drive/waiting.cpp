#include "drive/waiting.h"

#include <algorithm>
#include <chrono>

namespace larkspin {

bool IsCancelled(const CancelFunctor* cancel) {
    return cancel != nullptr && (*cancel)();
}

bool SleepUnlessCancelled(IClock& clock, uint64_t milliseconds, const CancelFunctor* cancel) {
    constexpr uint64_t kSliceMs = 200;
    if (cancel == nullptr) {
        if (milliseconds > 0)
            clock.Sleep(std::chrono::milliseconds(milliseconds));
        return true;
    }
    while (milliseconds > 0) {
        if (IsCancelled(cancel))
            return false;
        const uint64_t slice = std::min(milliseconds, kSliceMs);
        clock.Sleep(std::chrono::milliseconds(slice));
        milliseconds -= slice;
    }
    return !IsCancelled(cancel);
}

} // namespace larkspin
