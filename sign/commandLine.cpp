#include "sign/commandLine.h"

#include "display/Display.h"

#include <array>

namespace sign {

namespace {

constexpr std::array options = {
    calls::OptionRow{"k key", "KEY", "the private key: a pkcs11: URI, or the path of a PEM file"},
    calls::OptionRow{"v image-version", "N", "the version in the image, from 0 to 4294967295"},
    calls::OptionRow{"o output", "FILE", "the file to write; for several binaries, their folder"},
    calls::OptionRow{"public", "PEM", "the public key of KEY, for tokens that don't disclose it"},
    calls::OptionRow{"certificate", "PEM", "the certificates of KEY, its own first; they must be valid now"},
    calls::OptionRow{"trust", "PEM", "the authorities that CERTIFICATE must lead to; its last certificate if left out"},
    calls::OptionRow{"receipt", "FILE", "write what was signed with which key, as JSON"},
    calls::OptionRow{"digest", "FILE", "write the 32 bytes of the digest to be signed"},
    calls::OptionRow{"signature", "FILE", "the signature: DER, or the bytes of r and s; 256 bytes for RSA"},
    calls::OptionRow{"json", nullptr, "one JSON document"},
};

constexpr std::array commands = {
    calls::CommandRow{"image", "BINARY...", 1, -1, "key! image-version! output! public certificate trust receipt",
                      "sign an image with ECDSA on P-256", runImage},
    calls::CommandRow{"wireless", "BINARY...", 1, -1, "key! output! public certificate trust receipt",
                      "sign a binary of the wireless chip with RSA", runWireless},
    calls::CommandRow{"prepare image", "BINARY", 1, 1, "image-version! output! digest",
                      "write a request for a signature that another machine makes", runPrepareImage},
    calls::CommandRow{"prepare wireless", "BINARY", 1, 1, "output! digest", "the same for the wireless chip",
                      runPrepareWireless},
    calls::CommandRow{"attach", "REQUEST BINARY", 2, 2, "signature! public! output! certificate trust receipt",
                      "check such a signature, and write the signed file", runAttach},
    calls::CommandRow{"checkpoint", "RECORD", 1, 1, "key! output! public",
                      "sign the lines of a production record that no checkpoint covers", runCheckpoint},
    calls::CommandRow{"public", "", 0, 0, "key! output!", "write the public key of a private key", runPublic},
    calls::CommandRow{"list", "[TOKEN]", 0, 1, "json",
                      "list tokens and their keys; logs in only if TOKEN, a URI, has a pin-source", runList},
};

void printFault(const QString& text) {
    reportError("%s", qUtf8Printable(text));
}

}  // namespace

const calls::Program& program() {
    static const calls::Program row{
        "qvora-sign",
        "Signs images with keys in tokens and files. Outside the signature, the files are those of the tool.",
        "0 done, 1 refused or failed, 2 wrong usage.",
        options,
        commands,
        printFault,
    };
    return row;
}

}  // namespace sign
