// The words for the values of a choice, as the command line, manifests and hash lists have them.
#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <utility>

/// Every value of a choice by its word.
template <class Value>
using ChoiceWords = std::map<std::string, Value>;

/// The word for a value of the choice.
template <class Value>
[[nodiscard]] const std::string& wordOf(const ChoiceWords<Value>& words, Value value) {
    return std::ranges::find(words, value, &std::pair<const std::string, Value>::second)->first;
}
