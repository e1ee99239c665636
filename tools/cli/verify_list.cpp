#include "tools/cli/verify_list.h"

#include <cerrno>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace {

constexpr std::size_t kHashDigits = 16;
const std::string kHeading = "# ";

bool parse(const std::string& text, VerifyLine& line) {
    std::istringstream words(text);
    std::string rest;
    return words >> line.frame >> line.timecode >> line.hash >> line.status && !(words >> rest) &&
           line.hash.size() == kHashDigits;
}

} // namespace

std::string VerifyLine::text() const {
    return fmt::format("{:6}  {}  {}  {}", frame, timecode, hash, status);
}

VerifyLine verifyLine(const Clip& clip, std::uint32_t frame, const FrameOutcome& outcome) {
    const FrameReading::State state = outcome.reading.state;
    return {frame, clip.timecode(frame),
            state == FrameReading::State::unreadable ? std::string(kHashDigits, '-')
                                                     : fmt::format("{:016x}", outcome.hash),
            stateName(state)};
}

std::string headingOf(const std::string& clipName) {
    return kHeading + clipName;
}

std::string VerifyList::difference(const VerifyLine& line) const {
    const auto found = m_lines.find(line.frame);
    if (found == m_lines.end()) return "not in the list";
    const VerifyLine& earlier = found->second;
    if (earlier.status != line.status) return fmt::format("{}, in the list {}", line.status, earlier.status);
    if (earlier.hash != line.hash) return fmt::format("hash {}, in the list {}", line.hash, earlier.hash);
    if (earlier.timecode != line.timecode)
        return fmt::format("timecode {}, in the list {}", line.timecode, earlier.timecode);
    return {};
}

std::size_t VerifyList::linesFrom(std::uint32_t frames) const {
    return static_cast<std::size_t>(std::distance(m_lines.lower_bound(frames), m_lines.end()));
}

std::map<std::string, VerifyList> readVerifyLists(const std::string& path) {
    errno = 0;
    std::ifstream input(path);
    if (!input)
        throw std::runtime_error(
            fmt::format("{}: {}", path, std::generic_category().message(errno != 0 ? errno : EIO)));
    std::map<std::string, VerifyList> lists;
    std::string clip;
    std::string text;
    for (std::size_t number = 1; std::getline(input, text); ++number) {
        if (text.starts_with(kHeading)) {
            clip = text.substr(kHeading.size());
            lists[clip];
            continue;
        }
        VerifyLine line;
        if (!parse(text, line))
            throw std::runtime_error(fmt::format("{}: line {} is no line of a frame list", path, number));
        lists[clip].add(std::move(line));
    }
    if (lists.empty()) throw std::runtime_error(fmt::format("{}: is no frame list (no lines)", path));
    return lists;
}
