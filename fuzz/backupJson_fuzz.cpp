#include "fuzz/FuzzFile.h"
#include "images/backupGenerator.h"

// The document names its files; they are only read, and the output lies in the fuzzer's own folder.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzFile file(data, size, ".json");
    static_cast<void>(generateBackup(file.path(), file.output()));
    return 0;
}
