// What the rows of the XML mapping tables share: the information item that a row sets.
#pragma once

#include "metadata/info_items.h"

#include <variant>

/// A text item is set to a copy of the text found, a number item to its base-10 value.
using MappedItem = std::variant<InfoText, InfoNumber>;

/// setStandardItem for whichever kind of item a row names: `names` are one or two pairs, then the text found.
template <typename... Names>
bool setMappedItem(QMXINFO& info, MappedItem item, Names... names) {
    return std::visit([&](auto number) { return setStandardItem(&info[number], names...); }, item);
}
