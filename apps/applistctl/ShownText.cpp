#include "apps/applistctl/ShownText.h"

#include <string_view>

#include "common/PrintableText.h"

namespace applist::ctl {

std::size_t DirectionMarkLength(const std::string& text, std::size_t at) {
    static constexpr std::string_view kMarks[] = {
        "\u061C", "\u200E", "\u200F", "\u202A", "\u202B", "\u202C",
        "\u202D", "\u202E", "\u2066", "\u2067", "\u2068", "\u2069",
    };
    if (text[at] != '\xE2' && text[at] != '\xD8') return 0;  // what they begin with
    for (const std::string_view mark : kMarks) {
        if (text.compare(at, mark.size(), mark) == 0) return mark.size();
    }
    return 0;
}

std::string ShownText(const std::string& bytes) {
    static const char kHex[] = "0123456789abcdef";
    const std::string printable = PrintableText(bytes);
    std::string shown;
    for (std::size_t at = 0; at < printable.size();) {
        const std::size_t end = at + DirectionMarkLength(printable, at);
        if (end == at) shown += printable[at++];
        for (; at < end; ++at) {
            const auto byte = static_cast<unsigned char>(printable[at]);
            shown += {'\\', 'x', kHex[byte >> 4], kHex[byte & 0xF]};
        }
    }
    return shown;
}

}  // namespace applist::ctl
