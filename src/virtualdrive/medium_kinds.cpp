// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/medium_kinds.h"

#include "virtualdrive/bd_r.h"
#include "virtualdrive/bd_re.h"
#include "virtualdrive/cd_medium.h"
#include "virtualdrive/dvd_minus_rw.h"
#include "virtualdrive/dvd_overwrite.h"
#include "virtualdrive/dvd_sequential.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

template <class Medium>
std::unique_ptr<IMedium> Make(CDiscStore& store) {
    return std::make_unique<Medium>(store);
}

template <class Medium, const BdFacts& facts>
std::unique_ptr<IMedium> MakeBd(CDiscStore& store) {
    return std::make_unique<Medium>(store, facts);
}

// A CD of 80 minutes: the last start of the lead-out is 79:59:74.
constexpr uint32_t kCdCapacity = 359'849;

// DVD capacities: the 4.7 GB of each family, a DVD-RAM with its usual spare areas, two layers.
constexpr uint32_t kDvdMinusCapacity = 2'298'496;
constexpr uint32_t kDvdPlusCapacity = 2'295'104;
constexpr uint32_t kDvdRamCapacity = 2'236'704;
constexpr uint32_t kDvdMinusRDlCapacity = 4'171'712;
constexpr uint32_t kDvdPlusRDlCapacity = 4'173'824;

constexpr std::array kKinds = {
    MediumKind{"cd-r", kCdCapacity, Make<CCdRMedium>},
    MediumKind{"cd-rw", kCdCapacity, Make<CCdRwMedium>},
    MediumKind{"dvd-r", kDvdMinusCapacity, Make<CDvdMinusRMedium>},
    MediumKind{kMinusRwSequentialKind, kDvdMinusCapacity, Make<CDvdMinusRwMedium>},
    MediumKind{kMinusRwOverwriteKind, kDvdMinusCapacity, Make<CDvdMinusRwOverwriteMedium>},
    MediumKind{"dvd-ram", kDvdRamCapacity, Make<CDvdRamMedium>},
    MediumKind{"dvd+r", kDvdPlusCapacity, Make<CDvdPlusRMedium>},
    MediumKind{"dvd+rw", kDvdPlusCapacity, Make<CDvdPlusRwMedium>},
    MediumKind{"dvd+r-dl", kDvdPlusRDlCapacity, Make<CDvdPlusRDlMedium>},
    MediumKind{"dvd-r-dl", kDvdMinusRDlCapacity, Make<CDvdMinusRDlMedium>},
    MediumKind{"bd-r", kBdBlocks, MakeBd<CBdRMedium, bd_facts::kR>},
    MediumKind{"bd-r-dl", kBdDlBlocks, MakeBd<CBdRMedium, bd_facts::kRDl>},
    MediumKind{"bd-r-xl", kBdXlBlocks, MakeBd<CBdRMedium, bd_facts::kRXl>},
    MediumKind{"bd-r-ql", kBdQlBlocks, MakeBd<CBdRMedium, bd_facts::kRQl>},
    MediumKind{"bd-re", kBdBlocks, MakeBd<CBdReMedium, bd_facts::kRe>},
    MediumKind{"bd-re-dl", kBdDlBlocks, MakeBd<CBdReMedium, bd_facts::kReDl>},
};

} // namespace

const MediumKind* FindMediumKind(std::string_view name) {
    const auto* found = std::find_if(kKinds.begin(), kKinds.end(),
                                     [name](const MediumKind& kind) { return kind.name == name; });
    return found != kKinds.end() ? found : nullptr;
}

} // namespace larkspin
