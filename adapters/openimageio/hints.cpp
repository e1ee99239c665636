#include "adapters/openimageio/hints.h"

#include "tools/picture/choice_words.h"

#include <stdexcept>
#include <string>

namespace {

bool flag(const OIIO::ImageSpec& configuration, const char* name) {
    return configuration.get_int_attribute(name) != 0;
}

/// The value for the word in the attribute; `usual` without the attribute.
template <class Choice>
Choice chosen(const OIIO::ImageSpec& configuration, const char* name, const ChoiceWords<Choice>& choices,
              Choice usual) {
    if (configuration.find_attribute(name) == nullptr) return usual;
    const std::string word(configuration.get_string_attribute(name));
    const auto choice = choices.find(word);
    if (choice != choices.end()) return choice->second;
    std::string known;
    for (const auto& [text, value] : choices)
        known += (known.empty() ? "" : ", ") + text;
    throw std::runtime_error(std::string(name) + " is \"" + word + "\", expected one of " + known);
}

std::optional<std::uint32_t> frameNumber(const OIIO::ImageSpec& configuration, const char* name) {
    if (configuration.find_attribute(name) == nullptr) return std::nullopt;
    const int number = configuration.get_int_attribute(name, -1);
    if (number < 0)
        throw std::runtime_error(std::string(name) + " is \"" +
                                 std::string(configuration.get_string_attribute(name)) +
                                 "\", expected a frame number");
    return static_cast<std::uint32_t>(number);
}

} // namespace

Hints readHints(const OIIO::ImageSpec& configuration) {
    Hints hints;
    hints.pictures.develop = flag(configuration, "krw:develop");
    hints.pictures.form.size = chosen(configuration, "krw:size", pictureSizes(), PictureSize::half);
    hints.pictures.curve = chosen(configuration, "krw:curve", displayCurves(), DisplayCurve::gamma);
    hints.pictures.acceptDamaged = flag(configuration, "krw:damaged");
    hints.onlyFrame = frameNumber(configuration, "krw:frame");
    return hints;
}
