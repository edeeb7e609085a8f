#include "images/ProtectedItem.h"

#include "images/imageLayout.h"

bool hasNonce(const ProtectedItem& item) {
    return item.value(algorithmField) == algorithmCbc || item.value(algorithmField) == algorithmCtr;
}

std::uint32_t protectionWord(const ProtectedItem& item) {
    std::uint32_t word = 0;
    for (const ProtectionField* const field : item.fields) {
        word |= std::uint32_t{field->BitValue} << (field->BitOffset % 32);
    }
    return word;
}

std::uint32_t nonceBytes(std::uint32_t protection) {
    const std::uint32_t algorithm = (protection >> protectionBits::algorithmPosition) & protectionBits::algorithmMask;
    return algorithm == algorithmCbc || algorithm == algorithmCtr ? nonceSize : 0;
}
