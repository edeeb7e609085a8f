#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "files/parseNumber.h"
#include "files/wipe.h"

#include <QFileInfo>

#include <array>
#include <limits>

namespace cli {

namespace {

constexpr std::uint32_t maxLicences = 1000000;
constexpr qsizetype maxFirmwareIdLength = 15;
constexpr qint64 persoDataSize = 108;
constexpr std::int32_t defaultSlot = 2;

/// The information that a card reports about itself.
struct CardInfo {
    std::array<unsigned char, 17> firmwareId{};  // NUL-terminated
    std::array<unsigned char, 4> type{};         // three characters, NUL-terminated
    unsigned int counter = 0;
    unsigned char state = 0;
    unsigned char version = 0;
};

const char* textOf(const unsigned char* text) {
    return reinterpret_cast<const char*>(text);
}

const char* stateName(unsigned char state) {
    switch (state) {
        case 7:
            return "VX_STATE";
        case 23:
            return "OEM_STATE";
        case 39:
            return "OPERATIONAL_STATE";
        default:
            return "UNKNOWN_STATE";
    }
}

struct HsmCommand : CommandBase {
    using CommandBase::CommandBase;

    std::int32_t slot = defaultSlot;
    std::uint32_t maxCounter = 0;
    QString firmwareId;
    bool infoRequested = false;
    bool persoDataGiven = false;

    Flow run();
    Flow requestInfo(const QStringList& params);
    Flow readNonce(const QStringList& params);
    Flow setCounter(const QStringList& params);
    Flow setFirmwareId(const QStringList& params);
    Flow setSlot(const QStringList& params);
    Flow readPersoData(const QStringList& params);

    bool readCard(CardInfo& info);
    void printCard(const CardInfo& info) const;
    bool provisioningComplete() const;
    Flow provision();
};

constexpr OptionRow<HsmCommand> optionRows[] = {
    {"-info", "--info", nullptr, nullptr, &HsmCommand::requestInfo},
    {"-k", "--key", "key", missingKeyFile, &HsmCommand::readKey, 1},
    {"-n", "--nonce", "nonce", missingNonceFile, &HsmCommand::readNonce, 1},
    {"-mc", "--maxcounter", "maxcounter", "You need to specify a value with the maxcounter option",
     &HsmCommand::setCounter},
    {"-id", "--id", "firmware id", "You need to specify a value with the firmware id option",
     &HsmCommand::setFirmwareId},
    {"-i", "--index", "index", "Invalid index", &HsmCommand::setSlot},
    // A first-generation card makes the tool ignore this option. So the handler itself prints the warning and checks
    // for a missing value.
    {"-pd", "--persodata", nullptr, nullptr, &HsmCommand::readPersoData, 1},
    {"-l", "--log"},
};

Flow HsmCommand::requestInfo(const QStringList& /*params*/) {
    infoRequested = true;
    return Flow::goOn();
}

Flow HsmCommand::readNonce(const QStringList& params) {
    constexpr char wrongSize[] = "Error: The size of nonce file is expected to be 12 or 16 bytes";
    const auto isNonceSize = [](qint64 size) { return size == 12 || size == 16; };
    const QFileInfo file(params.constFirst());
    if (file.isFile() && !isNonceSize(file.size())) {
        return failRun(wrongSize);
    }
    const Flow flow = readAnyNonce(params);
    // The size of a pipe is known only now.
    return flow.ends() || isNonceSize(tool.nonce.size()) ? flow : failRun(wrongSize);
}

Flow HsmCommand::setCounter(const QStringList& params) {
    if (!parseNumber(params.constFirst(), 0, maxCounter)) {
        return failRun("Invalid counter");
    }
    return maxCounter > maxLicences ? failRun("maximum counter must not exceed 1000000") : Flow::goOn();
}

Flow HsmCommand::setFirmwareId(const QStringList& params) {
    firmwareId = params.constFirst();
    return firmwareId.size() > maxFirmwareIdLength ? failRun("The firmware id lenght should be less than 16 characters")
                                                   : Flow::goOn();
}

Flow HsmCommand::setSlot(const QStringList& params) {
    std::uint32_t index = 0;
    if (!parseNumber(params.constFirst(), 0, index) || index > std::numeric_limits<std::int32_t>::max()) {
        return failRun("Invalid index");
    }
    slot = static_cast<std::int32_t>(index);
    return Flow::goOn();
}

bool HsmCommand::readCard(CardInfo& info) {
    return tool.preparation.getHSMInfo(slot, info.firmwareId.data(), info.counter, info.state, info.type.data(),
                                       &info.version) ||
           reportError("Failed to get available HSM info from slot %d\n", slot);
}

Flow HsmCommand::readPersoData(const QStringList& params) {
    CardInfo info;
    static_cast<void>(readCard(info));  // if the card doesn't answer, the option is still handled
    if (info.version == 1) {
        wipe(tool.persoData);  // a first-generation card accepts no such data
        return Flow::goOn();
    }
    if (persoDataGiven) {
        displayMessage(MessageKind::warning, "The perso data option is only needed once, the first one is ignored");
    }
    persoDataGiven = true;
    if (params.isEmpty()) {
        return failRun("You need to specify a file with the perso data option");
    }
    if (!CommandLineTool::readBinaryFile(params.constFirst(), tool.persoData, persoDataSize)) {
        return failRun("failed to open the perso data file !");
    }
    return tool.persoData.isEmpty() ? failRun("The perso data file is empty !") : Flow::goOn();
}

void HsmCommand::printCard(const CardInfo& info) const {
    displayMessage(MessageKind::success, "\nRead the following Information from HSM slot %d :\n", slot);
    displayMessage(MessageKind::normal, "  HSM STATE : %s\n", stateName(info.state));
    displayMessage(MessageKind::normal, "  HSM FW IDENTIFIER : %s\n", textOf(info.firmwareId.data()));
    displayMessage(MessageKind::normal, "  HSM COUNTER : %d\n", static_cast<int>(info.counter));
    displayMessage(MessageKind::normal, "  HSM VERSION : %s\n", QByteArray::number(info.version).constData());
    displayMessage(MessageKind::normal, "  HSM TYPE : %.3s\n", info.version == 2 ? textOf(info.type.data()) : "-");
}

bool HsmCommand::provisioningComplete() const {
    // Checks the contents of key and nonce, not their options, because an earlier command of this run may have set
    // them.
    return !tool.key.isEmpty() && !tool.nonce.isEmpty() && wasGiven(optionRows, given, "-id") &&
           wasGiven(optionRows, given, "-mc");
}

Flow HsmCommand::provision() {
    if (!tool.preparation.HSMProvisioning(slot, tool.key, tool.nonce, maxCounter, firmwareId, true, tool.persoData)) {
        return failRun("HSM programming failed");
    }
    displayMessage(MessageKind::success, "HSM programming success");
    return Flow::end(0);
}

Flow HsmCommand::run() {
    warnOfOwnParameters("hsm");
    const Flow flow = walkOptions(*this, optionRows, "hsm");
    if (flow.ends()) {
        return flow;
    }
    if (infoRequested) {
        CardInfo info;
        if (readCard(info)) {
            printCard(info);
        }
        return provisioningComplete() ? provision() : Flow::end(1);
    }
    if (!provisioningComplete()) {
        return failRun("One or more mandatory options are missing");
    }
    unsigned char version = 0;
    if (!tool.preparation.getHSMVersionAPI(slot, &version)) {
        return failRun("HSM Get informations failed");
    }
    return provision();
}

constexpr auto optionNames = namesOf(optionRows);

}  // namespace

constinit const Command hsmCommand = {{"-hsm", "--hsm"}, runCommandOf<HsmCommand>, 0, optionNames};

}  // namespace cli
