// The part that the rows of all XML mapping tables share: the information item that a row sets.
#pragma once

#include "metadata/info_items.h"

#include <variant>

/// A text item is set to a copy of the text found. A number item is set to the text's base-10 value.
using MappedItem = std::variant<InfoText, InfoNumber>;

/// setStandardItem for the kind of item that a row names. `names` are one or two pairs, followed by the text
/// found.
template <typename... Names>
bool setMappedItem(QMXINFO& info, MappedItem item, Names... names) {
    return std::visit([&](auto number) { return setStandardItem(&info[number], names...); }, item);
}
