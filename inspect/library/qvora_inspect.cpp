#include "inspect/library/qvora_inspect.h"

#include "display/MessageCollector.h"
#include "display/buildVersion.h"
#include "inspect/Call.h"
#include "inspect/commandLine.h"

#include <algorithm>
#include <memory>
#include <span>

struct qvora_inspect_result {
    int status = inspect::statusUndecided;
    QByteArray report;
    inspect::Contents contents;
};

namespace {

/// Returns the number of the first argument that isn't a text in UTF-8, from 1; 0 if all are.
int firstFaulty(std::span<const char* const> arguments) {
    const auto faulty = std::find_if(arguments.begin(), arguments.end(), [](const char* argument) {
        return argument == nullptr || !inspect::isUtf8(argument);
    });
    return faulty == arguments.end() ? 0 : static_cast<int>(faulty - arguments.begin()) + 1;
}

inspect::Report reportOf(std::span<const char* const> arguments, inspect::Kept* kept) {
    const MessageCollector messages;
    if (const int faulty = firstFaulty(arguments); faulty != 0) {
        return inspect::argumentFault(faulty);
    }
    QStringList words = {QStringLiteral("qvora-inspect")};
    for (const char* const argument : arguments) {
        words << QString::fromUtf8(argument);
    }
    return inspect::reportOf(words, kept);
}

}  // namespace

qvora_inspect_result* qvora_inspect_run(const char* const* arguments, std::size_t count, int keeps_contents) {
    if (arguments == nullptr && count != 0) {
        return nullptr;
    }
    auto result = std::make_unique<qvora_inspect_result>();
    inspect::Kept kept;
    kept.wantsContents = keeps_contents != 0;
    const inspect::Report report = reportOf({arguments, count}, &kept);
    result->status = report.status;
    result->report = inspect::printJson(report);
    result->contents.list = std::move(kept.contents.list);
    return result.release();
}

int qvora_inspect_status(const qvora_inspect_result* result) {
    return result->status;
}

const char* qvora_inspect_report(const qvora_inspect_result* result, std::size_t* size) {
    if (size != nullptr) {
        *size = static_cast<std::size_t>(result->report.size());
    }
    return result->report.constData();
}

std::size_t qvora_inspect_content_count(const qvora_inspect_result* result) {
    return result->contents.list.size();
}

const void* qvora_inspect_content(const qvora_inspect_result* result, std::size_t index, std::size_t* size, int* part,
                                  std::uint64_t* address) {
    if (index >= result->contents.list.size()) {
        return nullptr;
    }
    const inspect::Content& content = result->contents.list[index];
    if (size != nullptr) {
        *size = static_cast<std::size_t>(content.bytes.size());
    }
    if (part != nullptr) {
        *part = content.part;
    }
    if (address != nullptr) {
        *address = content.hasAddress ? content.address : 0;
    }
    return content.bytes.constData();
}

void qvora_inspect_free(qvora_inspect_result* result) {
    delete result;
}

const char* qvora_inspect_version() {
    return buildVersion;
}
