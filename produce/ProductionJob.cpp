#include "produce/ProductionJob.h"

#include "produce/IvRule.h"

#include <algorithm>

namespace produce {

bool usesNonce(const Step& step) {
    return jobs::pathOf(step.values.value(QStringLiteral("nonce"))) == QLatin1String("{nonce}");
}

int nonceSize(const Step& step) {
    return ivRule(*step.row) == IvRule::whole ? 16 : 12;
}

QString placeOf(const Step& step, const QString& field) {
    return step.place +
           (step.savedFields.contains(field) ? QLatin1String(".file: values.") : QLatin1String(".values.")) + field;
}

qsizetype stepNamed(const ProductionJob& job, const QString& name) {
    const auto found =
        std::find_if(job.steps.begin(), job.steps.end(), [&name](const Step& step) { return step.name == name; });
    return found == job.steps.end() ? -1 : found - job.steps.begin();
}

bool isOutput(const jobs::FieldRow& row) {
    return row.kind == jobs::FieldKind::outFile || row.kind == jobs::FieldKind::folder;
}

bool isName(QStringView text) {
    constexpr qsizetype longest = 64;
    const auto isPart = [](QChar c) {
        return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'-' ||
               c == u'_' || c == u'.';
    };
    return !text.isEmpty() && text.size() <= longest && text.front() != u'-' && text.front() != u'.' &&
           std::all_of(text.begin(), text.end(), isPart);
}

}  // namespace produce
