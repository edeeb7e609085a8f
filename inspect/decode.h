#pragma once

#include "inspect/Evidence.h"
#include "inspect/optionWords.h"

namespace inspect {

/// What the user wants to see of contents.
struct Decoding {
    RegisterNames registers;
    QByteArrayView siteSecret;    ///< makes the fingerprints of secrets; may be empty
    bool revealsSecrets = false;  ///< secret bytes are shown, too
    std::size_t texts = 0;        ///< the most texts of one part of firmware
};

/// Describes the plain contents of a file that `prove` opened: option words by register, firmware by its vector table,
/// fill and texts, module records, and files inside the file, again with their contents. `evidence` opens those files.
/// The result is `description.decoded`.
void decode(const Contents& contents, const Evidence& evidence, const Decoding& decoding, Description& description);

}  // namespace inspect
