#pragma once

#include "cli/CommandLineTool.h"
#include "cli/OptionRow.h"
#include "cli/failRun.h"

namespace cli {

/// The errors for an option without its parameter, shared by several commands.
inline constexpr char missingKeyFile[] = "You need to specify a file with the key option";
inline constexpr char missingNonceFile[] = "You need to specify a file with the nonce option";
inline constexpr char missingFirmwareFile[] = "You need to specify a file with the firmware option";
inline constexpr char missingOutputFile[] = "You need to specify a file with the output file option";
inline constexpr char missingBlobFile[] = "You need to specify a file with the blob option";
inline constexpr char missingImageVersion[] = "You need to specify a value with the image version option";
/// The error of the wireless-chip commands for an output that would replace a file.
inline constexpr char overwriteRisk[] = "Error risk of file overwritten.";

/// The base of the commands. Contains the context of the run, the command's part of the command line, and the handlers
/// of common options.
struct CommandBase {
    CommandLineTool& tool;
    const CommandCall& call;
    GivenOptions given;
    QStringList secretPaths;  ///< the files of the keys, nonces and secrets that were read; no output may replace them

    CommandBase(CommandLineTool& owner, const CommandCall& found) : tool(owner), call(found) {}

    /// Warns if the command's own word has parameters.
    void warnOfOwnParameters(const char* commandWord) const;
    /// Warns of the parameters after the first one of the command's own word.
    void warnOfExtraParameters(const char* commandName) const;

    /// Loads an input file; 0xFF fills its gaps.
    [[nodiscard]] bool openInput(const QString& path, FileData*& result) const;

    /// Reads a key, a nonce or secrets with the tool's `readBinaryFile`, and adds the path to `secretPaths`.
    [[nodiscard]] bool readSecret(const QString& path, QByteArray& bytes, qint64 expectedSize);
    /// Whether an output may be written at `path`. Reports an error and returns false if the output would replace a
    /// secret that was read.
    [[nodiscard]] bool mayWrite(const QString& path) const;

    // Handlers. Each stores its value in the matching member of `tool`.
    Flow readKey(const QStringList& params);       // 16 bytes
    Flow readAnyNonce(const QStringList& params);  // any size
    Flow readNonce12(const QStringList& params);
    Flow readNonce16(const QStringList& params);
    Flow setImageVersion(const QStringList& params);  // 0 to 255, in any base
    Flow setPvsOutput(const QStringList& params);     // must end in ".pvs"
};

/// Runs a command whose state is in a struct with its own `run`.
template <class Handler>
Flow runCommandOf(CommandLineTool& tool, const CommandCall& call) {
    return Handler(tool, call).run();
}

/// Whether `file` has a firmware format: raw binary, HEX, S-Record or ELF.
[[nodiscard]] bool isFirmware(const FileData& file);

}  // namespace cli
