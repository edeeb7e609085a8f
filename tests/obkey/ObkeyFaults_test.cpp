#include "tests/obkey/TemplateRun.h"

#include <gtest/gtest.h>

namespace {

const QByteArray info = "<Info><GlobalAlign>1</GlobalAlign></Info>";
const QByteArray output = "<Output><Name>o</Name><Default>o.bin</Default></Output>";

QByteArray tag(const char* name, const QByteArray& text) {
    return QByteArray("<") + name + ">" + text + "</" + name + ">";
}

QByteArray data(const char* name, const char* number, const QByteArray& rest = QByteArray(), const char* width = "4") {
    return tag("Data", tag("Name", name) + tag("Width", width) + tag("Default", number) + rest);
}

QByteArray missing(const char* element, const char* name) {
    return QByteArray("XML document is invalid : Mandatory Tag under ") + element + " is missing :\"" + name +
           "\", please update your xml file.";
}

QByteArray duplicated(const char* element, const char* name) {
    return QByteArray("XML document is invalid! \"") + name + "\" Element is duplicated under " + element + " tag.";
}

/// Info of a memory with `tags` at 0x1000, of 0x1000 bytes with sectors of 0x100.
QByteArray memory(const char* area) {
    const QByteArray name(area);
    return "<" + name + "Start>0x1000</" + name + "Start><" + name + "Size>4096</" + name + "Size><" + name +
           "SectorSize>0x100</" + name + "SectorSize>";
}

QByteArray slotsOf(const char* reference, const char* start, const char* size, const char* name = "a", int index = 1) {
    const QByteArray number = QByteArray::number(index);
    return data((QByteArray(name) + " offset").constData(), start, tag(reference, "start#" + number)) +
           data((QByteArray(name) + " size").constData(), size, tag(reference, "size#" + number));
}

struct Fault {
    QByteArray elements;
    QByteArray message;  ///< without the prefix; empty if the file is made
};

void expectFaults(const std::vector<Fault>& faults) {
    for (const Fault& fault : faults) {
        TemplateRun run;
        const MessageCapture capture;
        EXPECT_EQ(run.generate(obdata(fault.elements)), fault.message.isEmpty()) << fault.elements.constData();
        const std::vector<std::string> expected =
            fault.message.isEmpty() ? std::vector<std::string>()
                                    : std::vector<std::string>{"Error: " + fault.message.toStdString()};
        EXPECT_EQ(capture.texts(5), expected) << fault.elements.constData();
        EXPECT_EQ(QFile::exists(run.folder.path("o.bin")), fault.message.isEmpty()) << fault.elements.constData();
    }
}

}  // namespace

TEST(ObkeyFaults, Tags) {
    const QByteArray names = tag("Name", "n");
    const QByteArray numbers = tag("Width", "1") + tag("Default", "0");
    const QByteArray text = names + tag("Width", "9") + tag("MinWidth", "1") + tag("Default", "abc");
    expectFaults({
        {info + output, ""},
        {"", missing("Info", "GlobalAlign")},
        {tag("Info", tag("Title", "t")) + output, missing("Info", "GlobalAlign")},
        {info, missing("Output", "Default")},
        {info + tag("Output", names), missing("Output", "Default")},
        {info + tag("Text", names) + output, missing("Text", "Width")},
        {info + tag("Text", tag("Width", "1")) + output, missing("Text", "MinWidth")},
        {info + tag("Text", tag("Width", "1") + tag("MinWidth", "1")) + output, missing("Text", "Default")},
        {info + tag("Data", "") + output, missing("Data", "Width")},
        {info + data("a", "1") + tag("Data", tag("Width", "1")) + output, missing("Data", "Default")},
        {info + tag("List", names) + output, missing("List", "Width")},
        {info + tag("Bool", numbers) + output, missing("Bool", "True")},
        {info + tag("Bool", numbers + tag("True", "")) + output, missing("Bool", "False")},
        {info + tag("File", names) + output, missing("File", "Align")},
        {info + tag("File", tag("Align", "")) + output, missing("File", "KeyType")},
        {info + tag("Permission", numbers.left(16)) + output, missing("Permission", "Default")},
        {tag("Info", tag("Title", "t") + tag("GlobalAlign", "1").repeated(2)) + output,
         duplicated("Info", "GlobalAlign")},
        {info + tag("Text", text).repeated(2) + output, duplicated("Text", "duplicateElementCheck")},
        {info + tag("List", names + numbers + tag("Value", "1").repeated(2)) + output, duplicated("List", "Value")},
        {info + tag("Bool", names + numbers + tag("Hidden", "1").repeated(2)) + output, duplicated("Bool", "Hidden")},
        {info + data("a", "1", tag("Width", "1")) + output, duplicated("Data", "Width")},
        {info + data("a", "1", tag("Value", "1") + tag("Value", "2") + tag("Unknown", "").repeated(2)) + output, ""},
        {info + tag("File", names + tag("Hash", "").repeated(2)) + output, duplicated("File", "Hash")},
        {info + tag("Permission", names.repeated(2)) + output, duplicated("Permission", "duplicateElementCheck")},
        {info + output.repeated(2), duplicated("Output", "duplicateElementCheck")},
        {info.repeated(2) + output,
         " Duplicate name of : \"GlobalAlign\", all names should be unique. Please update your xml file."},
        {info + data("a", "1") + data("b", "1") + data("a", "1") + output,
         " Duplicate name of : \"a\", all names should be unique. Please update your xml file."},
        {info + data("n", "1") + tag("Bool", names + numbers + tag("True", "") + tag("False", "")).repeated(2) + output,
         ""},
    });
    QByteArray many;
    for (int i = 0; i < 300; ++i) {
        many += data(QByteArray::number(i).constData(), "1");
    }
    expectFaults({{info + many + output, ""}});
}

TEST(ObkeyFaults, ContentThatEndsTheReading) {
    std::vector<Fault> faults;
    for (const char* const name : {"FlashStart", "FlashSize", "FlashSectorSize", "OBKStart", "OBKSize", "OBKSectorSize",
                                   "AuthOBKStart", "AuthOBKSize"}) {
        const QByteArray said = QByteArray(name) == "OBKStart" ? QByteArray("OBK") : QByteArray(name) + " value";
        faults.push_back({tag("Info", tag(name, "12h")) + output,
                          " Wrong " + said + ". Only Decimal and Hexadecimal values are authorized."});
    }
    const QByteArray slotRule =
        "tag content, please update your xml file with the right one (only \"start#..\" and \"size#..\" are allowed).";
    faults.push_back({info + data("d", "1", tag("SlotCli", "Start#1")), " Wrong \" d \" SlotCli " + slotRule});
    faults.push_back({info + data("d", "1", tag("OBKSlot", "")), " Wrong \"d\" OBKSlot " + slotRule});
    faults.push_back({info + data("d", "1", tag("TypeSlot", "exec")),
                      " Wrong \"d\" TypeSlot tag content, please update your xml file with the right one (only "
                      "\"Execution\" and \"Download\" are allowed)."});
    faults.push_back({info + data("d", "1", tag("SlotCli", "size#1") + tag("OBKSlot", "size#1")),
                      " SlotCli and OBKSlot tags in the same \"d\" Data, you can only have SlotCli or OBKSlot tags by "
                      "Data."});
    faults.push_back({info + data("d", "1", tag("OBKSlot", "size#1") + tag("SlotCli", "size#1")) + output, ""});
    expectFaults(faults);
}

TEST(ObkeyFaults, Layout) {
    const QByteArray flash = tag("Info", tag("GlobalAlign", "1") + memory("Flash"));
    const QByteArray obk = tag("Info", tag("GlobalAlign", "1") + memory("OBK"));
    const auto authenticated = [](const char* start, const char* size) {
        return tag("Info",
                   tag("GlobalAlign", "1") + memory("OBK") + tag("AuthOBKStart", start) + tag("AuthOBKSize", size));
    };
    const QByteArray inner = authenticated("0x1100", "0x100");
    const QByteArray noFlashSector = tag("Info", tag("GlobalAlign", "1") + memory("Flash").replace("0x100<", "0<"));
    const QByteArray noObkSector = tag("Info", tag("GlobalAlign", "1") + memory("OBK").replace("0x100<", "<"));
    expectFaults({
        {info + slotsOf("SlotCli", "0x3", "0x0") + output, ""},
        {flash + slotsOf("SlotCli", "0xf00", "256") + output, ""},
        {flash + slotsOf("SlotCli", "0", "0x200") + slotsOf("SlotCli", "0x100", "0x200", "b", 2) + output, ""},
        {flash + slotsOf("SlotCli", "0xF00", "0x101") + output, "The \"a \" SlotCli is not in the Flash."},
        {flash + slotsOf("SlotCli", "0xFFFFFFFF", "0x1") + output, "The \"a \" SlotCli is not in the Flash."},
        {flash + slotsOf("SlotCli", "0x100", "0x10") + output,
         "The SlotCli : \"a \" does not respect the alignment constraint."},
        {noFlashSector + slotsOf("SlotCli", "0x100", "0x10") + output,
         "Wrong FlashSectorSize value, a sector size cannot be equal to 0."},
        {flash + slotsOf("SlotCli", "0", "0x000") + output, " Wrong \" a  \" size value, size cannot be equal to 0."},
        {flash + data("BootOffset", "0", tag("SlotCli", "start#")) + output, "\" Boot \" size is missing."},
        {flash + data("s", "1", tag("SlotCli", "size#1")) + data("offset Offset", "0", tag("SlotCli", "start#1")) +
             output,
         "\"  Offset \" size is missing."},
        {flash + data("d", "1", "", "0") + output, " \"0\" : is Wrong width value "},
        {obk + slotsOf("OBKSlot", "0", "0x10") + output, ""},
        {obk + slotsOf("OBKSlot", "0x10", "0x10") + output,
         "The ObkSlot : \"a \" does not respect the alignment constraint. Please update your xml file with the right "
         "values."},
        {obk + slotsOf("OBKSlot", "0x0", "0x1100") + output, "The \"a \" OBKSlot is not in the OBK."},
        {obk + slotsOf("OBKSlot", "0x100", "0x100", "b", 2) + slotsOf("OBKSlot", "0", "0x100") + output, ""},
        {obk + slotsOf("OBKSlot", "0x100", "0x100", "b", 2) + slotsOf("OBKSlot", "0", "0x101") + output,
         "Overlap between : \"a \" and \"b \"."},
        {noObkSector + slotsOf("OBKSlot", "0", "0x10") + output,
         "Wrong OBKSectorSize value, a sector size cannot be equal to 0."},
        {authenticated("0x0", "0x100") + output, ""},
        {authenticated("0x0FFF", "0x100") + slotsOf("OBKSlot", "0x100", "0x100") + output,
         "AuthOBK is not in the OBK!"},
        {authenticated("0x1F01", "0x100") + slotsOf("OBKSlot", "0x100", "0x100") + output,
         "AuthOBK is not in the OBK!"},
        {inner + slotsOf("OBKSlot", "0x100", "0x100") + output, ""},
        {inner + slotsOf("OBKSlot", "0x100", "0x101") + output,
         "The OBKSlot : \"a \" is not in the OBkeys allowed area."},
        {inner + slotsOf("OBKSlot", "0x100", "0x10") + output,
         "The OBKSlot : \"a \" does not respect the alignment constraint."},
    });
}

TEST(ObkeyFaults, Generation) {
    const auto field = [](const char* kind, const char* width, const char* number) {
        return info +
               tag(kind, tag("Name", "f") + tag("Width", width) + tag("Default", number) + tag("True", "") +
                             tag("False", "")) +
               output;
    };
    const auto wrongSize = [](const char* number) {
        return QByteArray("Fail OBkey Generation Wrong Data Size ") + number + " for f \n";
    };
    expectFaults({
        {tag("Info", tag("GlobalAlign", "1") + tag("DoEncryption", "1")) + output,
         "Either ObDestAddress or DoEncryption is present,it is a Wrong Configuration "},
        {field("Bool", "1", "0x123"), wrongSize("0x123")},
        {field("Bool", "-1", "1"), wrongSize("1")},
        {field("Bool", "65537", "1"), wrongSize("1")},
        {field("List", "1", "256"), wrongSize("256")},
        {field("Permission", "99999999", "0x1"), wrongSize("0x1")},
        {info + data("d", "1", tag("Value", "0x123456"), "2") + output,
         " \"0x123456\" value for \"d\" is incorrect, the value should be written on max : \"2\" Bytes."},
        {info + tag("Text", tag("Width", "3") + tag("MinWidth", "1") + tag("Default", "abcd")) + output,
         "  \" 4 \" : is Wrong width value "},
    });
}
