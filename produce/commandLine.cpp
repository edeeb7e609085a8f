#include "produce/commandLine.h"

#include "produce/ConsoleListener.h"
#include "produce/runnerCommands.h"

#include <array>

namespace produce {

namespace {

constexpr std::array options = {
    calls::OptionRow{"devices", "FILE",
                     "the table of devices: CSV with a header, or JSON lines; \"-\" is standard input"},
    calls::OptionRow{"ledger", "LEDGER", "the ledger: the path of a file, or postgresql://..."},
    calls::OptionRow{"o output", "FOLDER", "the folder of the outputs and the record; one folder per device"},
    calls::OptionRow{"workers", "N", "how many devices are made at once; the number of processors if it is left out"},
    calls::OptionRow{"halt-after", "N", "stop after N failures in a row"},
    calls::OptionRow{"json", nullptr, "one JSON object per event, or one document"},
    calls::OptionRow{"html", "FILE", "write a report as one web page"},
    calls::OptionRow{"serial", "SERIAL", "the serial of a device"},
    calls::OptionRow{"column", "NAME=VALUE", "a value of the device, as in a table", true},
    calls::OptionRow{"reason", "TEXT", "why; the record keeps it"},
    calls::OptionRow{"product", "NAME", "the product, if the ledger has several"},
    calls::OptionRow{"station", "NAME", "the name of this station; \"station\" if it is left out"},
    calls::OptionRow{
        "station-key", "KEY",
        "the private key that signs the record, a PEM file or a pkcs11: URI; LEDGER.station.pem if left out"},
    calls::OptionRow{"site-secret", "FILE", "the secret of the fingerprints; LEDGER.site if it is left out"},
    calls::OptionRow{"public", "PEM", "the public key of the station"},
    calls::OptionRow{"in-toto", nullptr, "the signed checkpoints, one envelope a line"},
    calls::OptionRow{"csv", nullptr, "one row per output"},
    calls::OptionRow{"key", "KEY", "the key of the images"},
};

constexpr char lineOptions[] = "ledger! output! workers station station-key site-secret json";

constexpr std::array commands = {
    calls::CommandRow{"check", "JOB", 1, 1, "devices output json", "check a job and its table; makes nothing",
                      runCheck},
    calls::CommandRow{"run", "JOB", 1, 1,
                      "devices! ledger! output! workers halt-after station station-key site-secret json",
                      "make and prove all devices of a table; running again resumes", runRun},
    calls::CommandRow{"one", "JOB", 1, 1, "serial! column ledger! output! workers station station-key site-secret json",
                      "make and prove one device", runOne},
    calls::CommandRow{"serve", "JOB", 1, 1, lineOptions, "make devices on request: JSON lines in, JSON lines out",
                      runServe},
    calls::CommandRow{"status", "", 0, 0, "ledger! json html", "show the state of a ledger", runStatus},
    calls::CommandRow{"void", "", 0, 0, "serial! reason! ledger! product station",
                      "permit that a proven device is made again", runVoid},
    calls::CommandRow{"record verify", "RECORD", 1, 1, "public!", "check a record and its signatures; needs no ledger",
                      runRecordVerify},
    calls::CommandRow{"record export", "RECORD", 1, 1, "in-toto csv", "print a record in another form",
                      runRecordExport},
    calls::CommandRow{"ledger init", "", 0, 0, "ledger! site-secret station-key",
                      "make a ledger, a site secret and a station key", runLedgerInit},
    calls::CommandRow{"ledger station-key", "", 0, 0, "station-key!", "make a station key", runLedgerStationKey},
    calls::CommandRow{"ledger import", "IMAGE...", 1, -1, "ledger! key! station site-secret",
                      "mark the IVs of older images as used", runLedgerImport},
    calls::CommandRow{"ledger new-epoch", "", 0, 0, "ledger! output! reason station",
                      "begin new nonces, after a backup was restored", runLedgerNewEpoch},
    calls::CommandRow{"ledger retire-key", "FINGERPRINT", 1, 1, "ledger! station", "make no more images with a key",
                      runLedgerRetireKey},
    calls::CommandRow{"ledger check", "", 0, 0, "ledger!", "check a ledger and its file", runLedgerCheck},
};

}  // namespace

const calls::Program& program() {
    static const calls::Program row{
        "qvora-produce",
        "Makes and proves what thousands of devices need, one after the other, with a ledger and a record.",
        "0 everything is proven, 1 some devices failed, 2 nothing was started, 3 stopped by the user.",
        options,
        commands,
        printFault,
    };
    return row;
}

}  // namespace produce
