#include "fuzz/FuzzFile.h"
#include "images/backupGenerator.h"

// The files that the document names are only read. The output is in the fuzzer's own folder.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzFile file(data, size, ".json");
    static_cast<void>(generateBackup(file.path(), file.output()));
    return 0;
}
