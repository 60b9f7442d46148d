/// A ternary test: the bits under a mask equal a value. The set of connections that pass is a cube.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "zwmgmt/records/policy.h"

namespace zwmgmt::policy {

struct Cube {
    uint64_t value[3] = {};  // zero where the mask is
    uint64_t mask[3] = {};

    bool operator==(const Cube&) const = default;

    /// Whether everything passes.
    bool IsAny() const { return (mask[0] | mask[1] | mask[2]) == 0; }

    /// Whether nothing passes both.
    bool Conflicts(const Cube& other) const {
        uint64_t different = 0;
        for (int i = 0; i < 3; ++i) {
            different |= (value[i] ^ other.value[i]) & mask[i] & other.mask[i];
        }
        return different != 0;
    }

    /// Whether whatever passes this one passes the other, too.
    bool IsWithin(const Cube& other) const {
        uint64_t outside = 0;
        for (int i = 0; i < 3; ++i) {
            outside |= (other.mask[i] & ~mask[i]) | ((value[i] ^ other.value[i]) & other.mask[i]);
        }
        return outside == 0;
    }

    /// Both, where they do not conflict.
    Cube And(const Cube& other) const {
        Cube both;
        for (int i = 0; i < 3; ++i) {
            both.value[i] = value[i] | other.value[i];
            both.mask[i] = mask[i] | other.mask[i];
        }
        return both;
    }

    /// The smallest cube that both are within.
    Cube Common(const Cube& other) const {
        Cube common;
        for (int i = 0; i < 3; ++i) {
            common.mask[i] = mask[i] & other.mask[i] & ~(value[i] ^ other.value[i]);
            common.value[i] = value[i] & common.mask[i];
        }
        return common;
    }

    /// Whether either is one cube, because a single bit tells them apart; *merged is that cube.
    bool Merge(const Cube& other, Cube* merged) const {
        int bits = 0;
        for (int i = 0; i < 3; ++i) {
            if (mask[i] != other.mask[i]) return false;
            bits += std::popcount(value[i] ^ other.value[i]);
        }
        if (bits != 1) return false;
        for (int i = 0; i < 3; ++i) {
            const uint64_t same = ~(value[i] ^ other.value[i]);
            merged->value[i] = value[i] & same;
            merged->mask[i] = mask[i] & same;
        }
        return true;
    }
};

static_assert(sizeof(PolicyFields) <= sizeof(Cube::value));

inline Cube CubeOf(const PolicyFields& value, const PolicyFields& mask) {
    Cube cube;
    std::memcpy(cube.mask, &mask, sizeof(mask));
    std::memcpy(cube.value, &value, sizeof(value));
    for (int i = 0; i < 3; ++i) cube.value[i] &= cube.mask[i];
    return cube;
}

}  // namespace zwmgmt::policy
