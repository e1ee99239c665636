// White balance: the gains of red, green and blue that make grey things grey.
#pragma once

#include "tools/clip/clip.h"
#include "tools/picture/choice_words.h"

#include <array>
#include <functional>
#include <string>

/// Gains of red, green and blue; green's is 1.
using Gains = std::array<double, 3>;

enum class Balance {
    automatic, // the clip's gains where it names any, otherwise an estimate
    clip,      // the clip's gains as they stand
    grey,      // an estimate
};

/// Words of the command line and their values.
[[nodiscard]] const ChoiceWords<Balance>& balances();

/// Sample values of no light and of full light. Black is below white.
struct Levels {
    double black;
    double white;
};
[[nodiscard]] Levels levelsOf(const Clip& clip);

/// The gains that a clip names; 1 where it names none.
[[nodiscard]] Gains clipGains(const ClipInformation& information);

/// Told a warning, in words that begin with the clip's path.
using WarningTaker = std::function<void(const std::string& warning)>;

/// The gains for a whole clip. Its pictures do not flicker, and files of several processes match, because the
/// gains do not depend on the frames that are asked for. Estimates use frames spread over the clip, which are
/// read on workerCount(jobs) workers at most. `warn` is told when some of these are not whole, because that
/// changes the gains.
[[nodiscard]] Gains balanceGains(Clip& clip, Balance balance, const WarningTaker& warn, unsigned jobs);
