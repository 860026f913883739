#include "virtualdrive/medium_kinds.h"

#include "virtualdrive/cd_medium.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

template <class Medium>
std::unique_ptr<IMedium> Make(CDiscStore& store) {
    return std::make_unique<Medium>(store);
}

// A CD of 80 minutes: the lead-out may begin at 79:59:74.
constexpr uint32_t kCdCapacity = 359'849;

constexpr std::array kKinds = {
    MediumKind{"cd-r", kCdCapacity, Make<CCdRMedium>},
    MediumKind{"cd-rw", kCdCapacity, Make<CCdRwMedium>},
};

} // namespace

const MediumKind* FindMediumKind(std::string_view name) {
    const auto* found = std::find_if(kKinds.begin(), kKinds.end(),
                                     [name](const MediumKind& kind) { return kind.name == name; });
    return found != kKinds.end() ? found : nullptr;
}

} // namespace larkspin
