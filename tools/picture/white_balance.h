// White balance: the gains of red, green and blue that make grey things grey.
#pragma once

#include "tools/clip/clip.h"

#include <array>
#include <map>
#include <string>

/// Gains of red, green and blue; green's is 1.
using Gains = std::array<double, 3>;

enum class Balance {
    automatic, // the clip's gains where it names any, otherwise an estimate
    clip,      // the clip's gains as they stand
    grey,      // an estimate
};

/// The words of the command line.
[[nodiscard]] const std::map<std::string, Balance>& balances();

/// Samples of no light and of full light, black below white.
struct Levels {
    double black;
    double white;
};
[[nodiscard]] Levels levelsOf(const Clip& clip);

/// The gains that a clip names; 1 where it names none.
[[nodiscard]] Gains clipGains(const ClipInformation& information);

/// One set of gains for a whole clip, so that its shots do not flicker and files of several processes match.
/// Estimates come from frames spread over the clip, whichever frames are asked for.
[[nodiscard]] Gains balanceGains(Clip& clip, Balance balance);
