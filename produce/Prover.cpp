#include "produce/Prover.h"

#include "files/wipe.h"
#include "inspect/commandLine.h"
#include "inspect/words.h"
#include "produce/MemoryFiles.h"
#include "produce/childProcess.h"
#include "produce/fileDigest.h"
#include "produce/messages.h"

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

namespace produce {

namespace {

/// The first finding that is an error; empty if there is none.
QString firstError(const std::vector<inspect::Description>& files) {
    for (const inspect::Description& file : files) {
        const auto error =
            std::find_if(file.findings.begin(), file.findings.end(), [](const inspect::Finding& finding) {
                return inspect::rowOf(finding.code).severity == inspect::Severity::error;
            });
        QString text = error != file.findings.end() ? inspect::findingText(*error) : firstError(file.inner);
        if (!text.isEmpty()) {
            return text;
        }
    }
    return {};
}

/// The first failure in the opener's report. Without failures, its last line, which has the verdict, and the first
/// error.
QString reasonOf(const inspect::Report& report) {
    if (!report.failures.empty()) {
        return report.failures.front().text;
    }
    const QString verdict = QString::fromUtf8(inspect::printText(report).trimmed()).section(u'\n', -1);
    const QString error = firstError(report.files);
    return error.isEmpty() ? verdict : verdict + QStringLiteral("; ") + error;
}

/// Whether only the rules of the formats could be checked, and all files keep them.
bool keepsRules(const inspect::Report& report) {
    return report.failures.empty() && !report.files.empty() &&
           std::all_of(report.files.begin(), report.files.end(), [](const inspect::Description& file) {
               const inspect::Judgement judgement = inspect::judge(file);
               return judgement.verdict == inspect::Verdict::undecided &&
                      judgement.reason == inspect::Reason::noProtection;
           });
}

/// The proof of a step, as the prover's process computes it.
StepResult proofOf(const ProofTask& task) {
    StepResult result;
    for (const QString& path : task.outputs) {
        FileDigest output{{}, path, false, 0, {}};
        if (!digestFile(path, output)) {
            result.reason = QStringLiteral("the output %1 can't be read").arg(path);
            return result;
        }
        result.outputs.append(output);
    }
    MemoryFiles memory;
    if (!memory.make(task.memory)) {
        result.reason = QStringLiteral("there is no memory for the proof");
        return result;
    }
    const QStringList program = {QStringLiteral("qvora-inspect")};
    const inspect::Report report = inspect::reportOf(program + task.arguments, nullptr);
    result.isProven = report.status == inspect::statusGood || (task.needsRulesOnly && keepsRules(report));
    if (!result.isProven) {
        result.reason = reasonOf(report);
    }
    return result;
}

[[noreturn]] void runProver(const FileHandle& socket, pid_t parent) {
    QByteArray bytes;
    ProofTask task;
    while (endWithParent(parent) && receive(socket, bytes, task)) {
        const bool isSent = socket.write(packed(proofOf(task)));
        for (QByteArray& secret : task.memory) {
            wipeIfOwned(secret);
        }
        if (!isSent) {
            break;
        }
    }
    _exit(0);
}

}  // namespace

Prover::~Prover() {
    stop();
}

bool Prover::start() {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return false;
    }
    FileHandle own(ends[0]);
    const FileHandle other(ends[1]);
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ == 0) {
        static_cast<void>(own.close());
        runProver(other, parent);
    }
    socket_ = std::move(own);
    return process_ > 0;
}

void Prover::stop() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    process_ = -1;
    static_cast<void>(socket_.close());
}

void Prover::prove(const ProofTask& task, int timeoutSeconds, StepResult& result) {
    StepResult proof;
    QByteArray bytes;
    const bool isAsked = (process_ > 0 || start()) && socket_.write(packed(task));
    if (!isAsked || !waitToRead(socket_.get(), timeoutSeconds * 1000) || !receive(socket_, bytes, proof)) {
        stop();
        result.isProven = false;
        result.reason = QStringLiteral("the proof broke off");
        return;
    }
    result.isProven = proof.isProven;
    result.reason = proof.reason;
    result.outputs = proof.outputs;
}

}  // namespace produce
