#include "inspect/Span.h"

#include "files/parseNumber.h"

#include <algorithm>

namespace inspect {

namespace {

/// The addresses of `spans` that are also in `others` or, if `isInside` is false, not in `others`.
std::vector<Span> split(const std::vector<Span>& spans, const std::vector<Span>& others, bool isInside) {
    std::vector<Span> result;
    std::size_t next = 0;
    for (const Span& span : spans) {
        std::uint64_t at = span.from;
        while (next < others.size() && others[next].to <= at) {
            ++next;
        }
        for (std::size_t i = next; i < others.size() && others[i].from < span.to; ++i) {
            const Span both{std::max(at, others[i].from), std::min(span.to, others[i].to)};
            if (isInside) {
                result.push_back(both);
            } else if (at < both.from) {
                result.push_back({at, both.from});
            }
            at = both.to;
        }
        if (!isInside && at < span.to) {
            result.push_back({at, span.to});
        }
    }
    return result;
}

}  // namespace

std::vector<Span> merged(std::vector<Span> spans) {
    std::sort(spans.begin(), spans.end(), [](const Span& a, const Span& b) { return a.from < b.from; });
    std::vector<Span> result;
    for (const Span& span : spans) {
        if (span.from == span.to) {
            continue;
        }
        if (!result.empty() && span.from <= result.back().to) {
            result.back().to = std::max(result.back().to, span.to);
        } else {
            result.push_back(span);
        }
    }
    return result;
}

std::vector<Span> common(const std::vector<Span>& a, const std::vector<Span>& b) {
    return split(a, b, true);
}

std::vector<Span> without(const std::vector<Span>& a, const std::vector<Span>& b) {
    return split(a, b, false);
}

bool parseSpan(const QString& text, Span& span) {
    std::uint32_t from = 0;
    std::uint32_t last = 0;
    const qsizetype dash = text.indexOf(u'-');
    if (dash < 0 || !parseNumber(QStringView(text).first(dash), 16, from) ||
        !parseNumber(QStringView(text).sliced(dash + 1), 16, last) || from > last) {
        return false;
    }
    span = {from, std::uint64_t{last} + 1};
    return true;
}

}  // namespace inspect
