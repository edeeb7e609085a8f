#include "devices/deviceReader.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray document(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    devices::Device device;
    devices::TextFault fault;
    const bool done = devices::readDevice(document, device, fault);
    if (done != fault.text.isEmpty() || done != (device.deviceId != 0)) {
        std::abort();
    }
    for (const devices::DeviceRegister& reg : device.registers) {
        std::uint32_t rebuilt = 0;
        std::uint32_t described = 0;
        for (const devices::DeviceField& field : reg.fields) {
            rebuilt = field.set(rebuilt, field.valueIn(reg.reset));
            described |= field.mask();
        }
        if (rebuilt != (reg.reset & described) || (reg.reset & ~reg.mask()) != 0) {
            std::abort();
        }
    }
    return 0;
}
