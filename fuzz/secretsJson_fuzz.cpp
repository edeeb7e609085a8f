#include "fuzz/FuzzFile.h"
#include "images/secretsGenerator.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzFile file(data, size, ".json");
    QList<SecretItem> items;
    if (parseSecretsJson(file.path(), items) != 0) {
        return 0;
    }
    for (const std::uint32_t deviceId : {0x500U, 0x505U}) {
        static_cast<void>(generateSecrets(deviceId, items, file.output()));
        QList<SecretSegment> segments;
        static_cast<void>(buildSecretSegments(items, segments, true, deviceId));
    }
    return 0;
}
