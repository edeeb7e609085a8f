#include "inspect/devicePolicy.h"

#include "files/parseNumber.h"

#include <algorithm>

namespace inspect {

namespace {

/// The bits of a device that a rule is about.
struct Place {
    std::uint32_t word = 0;  ///< from 1
    const devices::DeviceRegister* inRegister = nullptr;
    const devices::DeviceField* field = nullptr;  ///< null for the whole register
};

/// Finds "REGISTER" or "REGISTER.FIELD"; both names may contain dots and blanks.
Place placeOf(const QString& name, const devices::Device& device) {
    std::uint32_t word = 0;
    for (const devices::DeviceRegister& candidate : device.registers) {
        ++word;
        if (name == candidate.name) {
            return {word, &candidate, nullptr};
        }
        for (const devices::DeviceField& field : candidate.fields) {
            if (name == candidate.name + u'.' + field.name) {
                return {word, &candidate, &field};
            }
        }
    }
    return {};
}

bool readValue(const QString& text, const devices::DeviceField* field, std::uint32_t& value) {
    if (field != nullptr) {
        const auto named =
            std::find_if(field->values.begin(), field->values.end(),
                         [&text](const devices::NamedValue& candidate) { return candidate.name == text; });
        if (named != field->values.end()) {
            value = named->value;
            return true;
        }
    }
    return parseNumber(text, 16, value);
}

bool applyTo(OptionRule& rule, const devices::Device& device, QString& fault) {
    const Place place = placeOf(rule.place, device);
    if (place.inRegister == nullptr) {
        fault = QStringLiteral("device 0x%1 has no option %2").arg(QString::number(device.deviceId, 16), rule.place);
        return false;
    }
    std::uint32_t value = 0;
    const std::uint32_t bit = place.field != nullptr ? place.field->bit : 0;
    rule.word = place.word;
    rule.mask = place.field != nullptr ? place.field->mask() : place.inRegister->mask();
    if (!readValue(rule.valueName, place.field, value) || value > rule.mask >> bit) {
        fault = QStringLiteral("option %1 has no value %2").arg(rule.place, rule.valueName);
        return false;
    }
    rule.value = value << bit;
    rule.name = rule.name.isEmpty() ? rule.place : rule.name;
    rule.place.clear();
    return true;
}

}  // namespace

bool applyDevice(const devices::Device* device, Policy& policy, QString& fault) {
    const auto needsDevice = [](const OptionRule& rule) { return !rule.place.isEmpty(); };
    if (device == nullptr) {
        fault = QStringLiteral("it needs a device and its description (--devices)");
        return !policy.isForDeviceMemory && std::none_of(policy.options.begin(), policy.options.end(), needsDevice);
    }
    if (policy.isForDeviceMemory) {
        std::vector<Span> memories;
        for (const devices::DeviceMemory& memory : device->memories) {
            memories.push_back({memory.address, std::uint64_t{memory.address} + memory.size});
        }
        memories = merged(std::move(memories));
        policy.memory = policy.memory ? common(merged(*policy.memory), memories) : memories;
    }
    return std::all_of(policy.options.begin(), policy.options.end(),
                       [&](OptionRule& rule) { return rule.place.isEmpty() || applyTo(rule, *device, fault); });
}

}  // namespace inspect
