// SPDX-License-Identifier: MIT

#include "Rows.h"

#include <iterator>

namespace bench {

TwoLists::TwoLists(std::size_t count) {
    std::vector<PlainItem> all = SampleItems(2 * count);
    const auto middle = all.begin() + static_cast<std::ptrdiff_t>(count);
    lists[0].assign(std::make_move_iterator(all.begin()), std::make_move_iterator(middle));
    lists[1].assign(std::make_move_iterator(middle), std::make_move_iterator(all.end()));
}

}  // namespace bench
