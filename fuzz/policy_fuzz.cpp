// Fuzzes the reader of policies. A readable policy that fits a device is applied to an image. The check of the policy
// must be bad exactly if there is a finding about it.

#include "fuzz/FuzzFile.h"
#include "inspect/devicePolicy.h"
#include "tests/inspect/SealingKit.h"

#include <algorithm>
#include <cstdlib>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool isAboutPolicy(const inspect::Finding& finding) {
    return QByteArrayView(inspect::rowOf(finding.code).name).startsWith("policy");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static_cast<void>(fuzzTarget());
    inspect::Policy policy;
    QString fault;
    if (!inspect::readPolicy({reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)}, policy, fault)) {
        require(!fault.isEmpty());
        return 0;
    }
    devices::DeviceField field;
    field.name = QStringLiteral("Level");
    field.width = 4;
    devices::DeviceRegister reg;
    reg.name = QStringLiteral("START");
    reg.fields = {field};
    devices::Device device;
    device.registers = {reg};
    device.memories = {{QStringLiteral("Flash"), devices::MemoryKind::flash, 0x08000000, 0x100, 1, {}}};
    if (!inspect::applyDevice(&device, policy, fault)) {
        require(!fault.isEmpty());
        return 0;
    }
    static const QByteArray image = kitMake(kitInstallImage());
    inspect::Source source;
    source.path = QStringLiteral("a.tbi");
    source.bytes = image;
    inspect::Evidence evidence;
    evidence.key = QByteArray(kitKey.constData(), kitKey.size());
    inspect::Contents contents;
    inspect::Description description = inspect::describe(source);
    inspect::prove(source, evidence, description, &contents);
    inspect::provePolicy(policy, false, contents, description);
    const bool isBroken = std::any_of(description.findings.begin(), description.findings.end(), isAboutPolicy);
    require(isBroken == (description.checks.back().result == inspect::CheckResult::bad));
    inspect::Report report;
    report.command = QStringLiteral("verify");
    report.files.push_back(std::move(description));
    static_cast<void>(inspect::printText(report));
    static_cast<void>(inspect::printJson(report));
    return 0;
}
