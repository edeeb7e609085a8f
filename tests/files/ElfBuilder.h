#pragma once

#include <QByteArray>
#include <QList>

#include <cstdint>

/// Makes small 32-bit ELF files of either byte order, field by field.
struct ElfBuilder {
    struct Segment {
        std::uint32_t type, physicalAddress;
        QByteArray bytes;
    };
    struct Section {
        std::uint32_t nameOffset, type;
        QByteArray bytes;
        std::uint32_t link = 0, entrySize = 0;
    };

    bool bigEndian = false;
    QList<Segment> segments;
    QList<Section> sections;  ///< without the null section; the last one contains the section names

    [[nodiscard]] QByteArray number(std::uint32_t value, int width) const {
        QByteArray bytes;
        for (int i = 0; i < width; ++i) {
            bytes.append(static_cast<char>(value >> (8 * (bigEndian ? width - 1 - i : i))));
        }
        return bytes;
    }
    [[nodiscard]] QByteArray numbers(std::initializer_list<qsizetype> values, int width = 4) const {
        QByteArray bytes;
        for (const qsizetype value : values) {
            bytes += number(static_cast<std::uint32_t>(value), width);
        }
        return bytes;
    }

    /// Returns header, program headers, the bytes of segments and sections, and section headers, in this order.
    [[nodiscard]] QByteArray build() const {
        const qsizetype start = 52 + 32 * segments.size();
        QByteArray programHeaders, content;
        for (const Segment& s : segments) {
            programHeaders += numbers({s.type, start + content.size(), 0x20000000, s.physicalAddress, s.bytes.size(),
                                       s.bytes.size() + 16, 5, 4});
            content += s.bytes;
        }
        QByteArray sectionHeaders(sections.isEmpty() ? 0 : 40, '\0');
        for (const Section& s : sections) {
            sectionHeaders += numbers({s.nameOffset, s.type, 2, 0x30000000, start + content.size(), s.bytes.size(),
                                       s.link, 7, 4, s.entrySize});
            content += s.bytes;
        }
        return QByteArray(
                   "\x7F"
                   "ELF\x01",
                   5) +
               (bigEndian ? '\2' : '\1') + QByteArray("\1\3\4\0\0\0\0\0\0\0", 10) + numbers({2, 40}, 2) +
               numbers({1, 0x08000101, 52, start + content.size(), 0x05000200}) +
               numbers({52, 32, segments.size(), 40, sectionHeaders.size() / 40, sections.size()}, 2) + programHeaders +
               content + sectionHeaders;
    }
};
