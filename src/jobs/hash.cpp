// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/hash.h"

// Where the library has several implementations, it picks the fastest one for the processor.
#if defined(__x86_64__)
#include <xxh_x86dispatch.h>
#else
#include <xxhash.h>
#endif

#include <new>

namespace larkspin {

void Hash::Free::operator()(XXH3_state_s* state) const {
    XXH3_freeState(state);
}

Hash::Hash() : m_pState(XXH3_createState()) {
    if (m_pState == nullptr) {
        throw std::bad_alloc();
    }
    XXH3_128bits_reset(m_pState.get());
}

void Hash::Add(std::span<const uint8_t> bytes) {
    XXH3_128bits_update(m_pState.get(), bytes.data(), bytes.size());
}

Digest Hash::Take() {
    const XXH128_hash_t hash = XXH3_128bits_digest(m_pState.get());
    XXH3_128bits_reset(m_pState.get());
    return {hash.low64, hash.high64};
}

} // namespace larkspin
