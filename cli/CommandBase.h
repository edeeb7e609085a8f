#pragma once

#include "cli/CommandLineTool.h"
#include "cli/OptionRow.h"
#include "cli/failRun.h"

/// What several commands say of an option without its parameter.
inline constexpr char missingKeyFile[] = "You need to specify a file with the key option";
inline constexpr char missingNonceFile[] = "You need to specify a file with the nonce option";
inline constexpr char missingFirmwareFile[] = "You need to specify a file with the firmware option";
inline constexpr char missingOutputFile[] = "You need to specify a file with the output file option";
inline constexpr char missingBlobFile[] = "You need to specify a file with the blob option";
inline constexpr char missingImageVersion[] = "You need to specify a value with the image version option";
/// What the wireless-chip commands say of an output that would replace a file.
inline constexpr char overwriteRisk[] = "Error risk of file overwritten.";

/// What the commands share: the run's context, what stands on the command line, and the handlers of common options.
struct CommandBase {
    CommandLineTool& tool;
    const CommandCall& call;
    GivenOptions given;
    QStringList secretPaths;  ///< of the keys, nonces and secrets that were read: no output may replace them

    CommandBase(CommandLineTool& owner, const CommandCall& found) : tool(owner), call(found) {}

    /// Warns if the command's own word has parameters.
    void warnOfOwnParameters(const char* commandWord) const;
    /// Warns of the parameters behind the first one of the command's own word.
    void warnOfExtraParameters(const char* commandName) const;

    /// Loads an input file as the commands do, its gaps filled with 0xFF.
    [[nodiscard]] bool openInput(const QString& path, FileData*& result) const;

    /// Reads a key, a nonce or secrets as the tool's `readBinaryFile` does, and keeps the path in mind.
    [[nodiscard]] bool readSecret(const QString& path, QByteArray& bytes, qint64 expectedSize);
    /// Whether an output may be written at `path`. False, with a message, over one of the secrets that were read.
    [[nodiscard]] bool mayWrite(const QString& path) const;

    // Handlers. Each stores into the tool's member of its name.
    Flow readKey(const QStringList& params);       // 16 bytes
    Flow readAnyNonce(const QStringList& params);  // of any size
    Flow readNonce12(const QStringList& params);
    Flow readNonce16(const QStringList& params);
    Flow setImageVersion(const QStringList& params);  // 0 to 255, in any base
    Flow setPvsOutput(const QStringList& params);     // must end in ".pvs"
};

/// The `run` of a command that is a struct with one.
template <class Handler>
Flow runCommandOf(CommandLineTool& tool, const CommandCall& call) {
    return Handler(tool, call).run();
}

/// Whether `file` is one of the formats that firmware comes in: raw binary, HEX, S-Record or ELF.
[[nodiscard]] bool isFirmware(const FileData& file);
