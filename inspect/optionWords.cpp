#include "inspect/optionWords.h"

#include "files/ByteReader.h"

#include <algorithm>

namespace inspect {

namespace {

QString meaningOf(const devices::DeviceField& field, std::uint32_t value) {
    const auto named = std::find_if(field.values.begin(), field.values.end(),
                                    [value](const devices::NamedValue& candidate) { return candidate.value == value; });
    return named == field.values.end() ? QString() : named->name;
}

void nameFields(const devices::DeviceRegister& from, OptionWord& word) {
    word.name = from.name;
    for (const devices::DeviceField& field : from.fields) {
        const std::uint32_t value = field.valueIn(word.value);
        word.fields.push_back({field.name, value, meaningOf(field, value)});
    }
}

}  // namespace

const devices::Device* RegisterNames::deviceFor(qsizetype words) const {
    if (deviceId) {
        return devices.find(*deviceId);
    }
    const devices::Device* only = nullptr;
    for (const devices::FoundDevice& found : devices.devices) {
        if (!found.device.registers.isEmpty() && found.device.registers.size() == words) {
            if (only != nullptr) {
                return nullptr;
            }
            only = &found.device;
        }
    }
    return only;
}

std::vector<OptionWord> readOptionWords(QByteArrayView bytes, const devices::Device* device) {
    std::vector<OptionWord> words;
    ByteReader reader(bytes);
    for (std::uint32_t value = reader.u32(); reader.ok() && words.size() < mostOptionWords; value = reader.u32()) {
        const auto index = static_cast<qsizetype>(words.size());
        OptionWord& word = words.emplace_back();
        word.number = static_cast<std::uint32_t>(words.size());
        word.value = value;
        if (device != nullptr && index < device->registers.size()) {
            nameFields(device->registers.at(index), word);
        }
    }
    return words;
}

}  // namespace inspect
