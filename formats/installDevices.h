#pragma once

#include <array>
#include <cstdint>

/// A device for which the tool makes install images.
struct InstallDevice {
    std::uint32_t id;
    const char* name;         ///< the number that `-devid` accepts
    bool takesPartialImages;  ///< the device accepts the image in parts that fit its RAM
};

inline constexpr std::array installDevices = {
    InstallDevice{0x450, "0x450", true},  InstallDevice{0x455, "0x455", false}, InstallDevice{0x462, "0x462", false},
    InstallDevice{0x472, "0x472", false}, InstallDevice{0x476, "0x476", false}, InstallDevice{0x478, "0x478", false},
    InstallDevice{0x480, "0x480", true},  InstallDevice{0x481, "0x481", false}, InstallDevice{0x482, "0x482", false},
    InstallDevice{0x483, "0x483", true},  InstallDevice{0x484, "0x484", false}, InstallDevice{0x485, "0x485", false},
    InstallDevice{0x492, "0x492", false}, InstallDevice{0x497, "0x497", false}, InstallDevice{0x4B0, "0x4B0", false},
};
