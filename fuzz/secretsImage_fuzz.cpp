#include "fuzz/FuzzFile.h"
#include "images/secretsImage.h"

// The first byte selects the device.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::uint32_t deviceId = data[0] % 2 == 0 ? 0x500 : 0x505;
    const FuzzFile file(data + 1, size - 1, ".bin");
    QList<SecretSegment> segments;
    if (parseSecretsImage(deviceId, file.path(), segments) == 0) {
        static_cast<void>(checkSecretsOverlap(segments, deviceId));
    }
    return 0;
}
