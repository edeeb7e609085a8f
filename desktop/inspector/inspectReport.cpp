#include "desktop/inspector/inspectReport.h"

#include "desktop/inspector/InspectWorker.h"
#include "jobs/shellQuoted.h"

namespace desktop {

QString inspectReport(const InspectResult& result) {
    QString text;
    const auto add = [&text](const QStringList& arguments, const QString& output) {
        text += QStringLiteral("$ ") + jobs::shellQuoted(QStringList{QStringLiteral("qvora-inspect")} + arguments) +
                u'\n' + output;
    };
    const auto printed = [](const inspect::Report& report) { return QString::fromUtf8(inspect::printText(report)); };
    if (result.file->format != nullptr) {
        inspect::Report shown;
        shown.command = QStringLiteral("show");
        shown.files.push_back(*result.file);
        add(result.request.show, printed(shown));
    }
    add(result.request.verify,
        result.fault.isEmpty() ? printed(result.report) : QStringLiteral("qvora-inspect: ") + result.fault + u'\n');
    if (result.comparison.files.size() == 2) {
        add(result.request.compare, printed(result.comparison));
    }
    return text;
}

}  // namespace desktop
