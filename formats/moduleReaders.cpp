#include "display/Display.h"
#include "files/ByteReader.h"
#include "files/openFile.h"
#include "files/readExactly.h"
#include "formats/FileKDU.h"
#include "formats/moduleLayout.h"
#include "formats/readers.h"

// Both kinds of module file are passed on unchanged, so the whole file becomes one segment. A prepared module (KMD)
// begins with its magic; the other bytes aren't checked. A module update (KDU) is an image of the MCUboot format, all
// numbers little-endian:
//
//   magic 4, load address 4, header size 2, size of the protected TLV block 2, image size 4, flags 4,
//   version: major 1, minor 1, revision 2, build 4
//
// The code is at the offset that the header size gives, and two TLV blocks follow it: magic 2, total size 2 (these four
// bytes included), then entries of type 2, length 2 and the value.

namespace {

constexpr std::uint16_t protectedTlvMagic = 0x6908;
constexpr std::uint32_t tlvHeadSize = 4;  ///< the size of the head of a block or an entry
constexpr std::uint32_t moduleFlagBit = 1U << 30;
constexpr const char* moduleInfoName = "MODULE_INFO";

struct TlvName {
    std::uint16_t type;
    const char* name;
};

constexpr TlvName tlvNames[] = {
    {1, "KEYHASH"},
    {2, "PUBKEY"},
    {16, "SHA256"},
    {32, "RSA2048"},
    {33, "ECDSA224"},
    {34, "ECDSA256"},
    {35, "RSA3072"},
    {36, "ED25519"},
    {48, "ENCRSA2048"},
    {49, "ENCKW128"},
    {50, "ENCEC256"},
    {51, "ENCX25519"},
    {64, "DEPENDENCY"},
    {80, "SEC_CNT"},
    {96, "BOOT_RECORD"},
    {160, moduleInfoName},
    {672, "MODULE_DEPENDENCY"},
    {928, "AUTH_TAG"},
};

/// Reads the whole file into one segment at address 0.
bool readWholeFile(QFile& device, FileData& file) {
    QByteArray content;
    const ReadStatus result = device.seek(0) ? readExactly(device, device.size(), content) : ReadStatus::cutShort;
    if (result == ReadStatus::noMemory) {
        return reportError("Unable to allocate enough memory to read the file");
    }
    if (result == ReadStatus::cutShort) {
        return reportError(file.fileType == fileTypeKmd ? "Error while reading KMD data segment"
                                                        : "Error while reading the file");
    }
    file.segments.push_back({0, static_cast<std::uint32_t>(content.size()), content});
    file.segmentCount = 1;
    return true;
}

/// Reads the entries of a block of `total` bytes, after the caller has read its head. `name` contains the name of the
/// previous entry, which may be in the previous block; an entry of unknown type gets this name. Stops at the first
/// incomplete entry.
void readTlvEntries(ByteReader& fields, std::uint16_t total, std::string& name, std::vector<TlvEntry>& entries) {
    std::uint32_t position = tlvHeadSize;
    while (position < total) {
        TlvEntry entry;
        entry.type = fields.u16();
        entry.length = fields.u16();
        entry.value = fields.take(entry.length).toByteArray();
        if (!fields.ok()) {
            return;
        }
        for (const TlvName& known : tlvNames) {
            if (known.type == entry.type) {
                name = known.name;
            }
        }
        entry.name = name;
        entry.value.append('\0');
        position += entry.length + tlvHeadSize;
        entries.push_back(std::move(entry));
    }
}

void readKduFields(QByteArrayView content, FileKDU& file) {
    ByteReader fields(content);
    file.imageMagic = fields.u32();
    file.loadAddress = fields.u32();
    file.headerSize = fields.u16();
    file.protectedTlvSize = fields.u16();
    file.imageSize = fields.u32();
    file.imageFlags = fields.u32();
    file.versionMajor = fields.u8();
    file.versionMinor = fields.u8();
    file.versionRevision = fields.u16();
    file.versionBuild = fields.u32();
    file.moduleFlag = (file.imageFlags & moduleFlagBit) != 0;
}

void readKduBlocks(QByteArrayView content, FileKDU& file) {
    ByteReader fields(content);
    fields.skip(qsizetype{file.headerSize} + file.imageSize);
    if (fields.u16() != protectedTlvMagic && file.protectedTlvSize != 0) {
        displayMessage(MessageKind::error, "WARNING TLV protected not present even though ptlvs !=0 .");
    }
    std::string name = moduleInfoName;
    readTlvEntries(fields, fields.u16(), name, file.protectedTlvs);
    fields.skip(sizeof(std::uint16_t));
    readTlvEntries(fields, fields.u16(), name, file.tlvs);
}

}  // namespace

bool readKmdFile(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    const QByteArray magic = device.read(preparedModule::magic.size());
    if (magic.size() < preparedModule::magic.size()) {
        return reportError("Error while reading KMD magic header");
    }
    if (magic != preparedModule::magic) {
        return reportError("The file %s is not an KMD image", qUtf8Printable(bareFileName(device)));
    }
    auto file = std::make_shared<FileData>();
    file->fileType = fileTypeKmd;
    if (!readWholeFile(device, *file)) {
        return false;
    }
    record = std::move(file);
    return true;
}

bool readKduFile(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    auto file = std::make_shared<FileKDU>();
    file->fileType = fileTypeKdu;
    if (!readWholeFile(device, *file)) {
        return false;
    }
    const QByteArrayView content = file->segments.front().data;
    readKduFields(content, *file);
    readKduBlocks(content, *file);
    record = std::move(file);
    return true;
}
