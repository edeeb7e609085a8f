#pragma once

#include "cli/CommandLineTool.h"
#include "cli/OptionTable.h"

/// Goes on, or ends the run with status 1 after a fault that has been reported.
[[nodiscard]] constexpr Flow continueIf(bool fine) {
    return fine ? Flow::goOn() : Flow::end(1);
}

/// Reports an error and ends the run with status 1.
Flow failWith(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// What several commands say of an option without its parameter.
inline constexpr char missingKeyFile[] = "You need to specify a file with the key option";
inline constexpr char missingNonceFile[] = "You need to specify a file with the nonce option";
inline constexpr char missingFirmwareFile[] = "You need to specify a file with the firmware option";
inline constexpr char missingOutputFile[] = "You need to specify a file with the output file option";
inline constexpr char missingBlobFile[] = "You need to specify a file with the blob option";
inline constexpr char missingImageVersion[] = "You need to specify a value with the image version option";

/// What the commands' option handlers share.
struct CommandBase {
    CommandLineTool& tool;
    GivenOptions given;

    explicit CommandBase(CommandLineTool& owner) : tool(owner) {}

    /// Loads an input file as the commands do, its gaps filled with 0xFF.
    [[nodiscard]] bool openInput(const QString& path, FileData*& result) const;

    // Handlers. Each stores into the tool's member of its name.
    Flow readKey(const QStringList& params);       // 16 bytes
    Flow readAnyNonce(const QStringList& params);  // of any size
    Flow readNonce12(const QStringList& params);
    Flow readNonce16(const QStringList& params);
    Flow setImageVersion(const QStringList& params);  // 0 to 255, in any base
    Flow setPvsOutput(const QStringList& params);     // must end in ".pvs"
};

/// Whether `file` is one of the formats that firmware comes in: raw binary, HEX, S-Record or ELF.
[[nodiscard]] bool isFirmware(const FileData& file);
