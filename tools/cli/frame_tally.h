// How many frames were read in which state.
#pragma once

#include "tools/clip/clip.h"

#include <cstdint>

struct FrameTally {
    std::uint32_t ok = 0;
    std::uint32_t damaged = 0;
    std::uint32_t unreadable = 0;

    [[nodiscard]] std::uint32_t total() const { return ok + damaged + unreadable; }

    void count(FrameReading::State state) {
        switch (state) {
        case FrameReading::State::ok:
            ++ok;
            break;
        case FrameReading::State::damaged:
            ++damaged;
            break;
        case FrameReading::State::unreadable:
            ++unreadable;
            break;
        }
    }
    void add(const FrameTally& other) {
        ok += other.ok;
        damaged += other.damaged;
        unreadable += other.unreadable;
    }
};
