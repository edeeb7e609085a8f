#include "record/LineReader.h"

#include <QBuffer>

#include <gtest/gtest.h>

namespace {

using record::LineReader;
using Next = LineReader::Next;

// Reads all lines. Returns each line and "|", or only stores its size in `sizes`. The name of the first result that
// isn't a line follows.
std::string readAll(QIODevice& device, qsizetype mostBytes, std::vector<qsizetype>* sizes = nullptr) {
    LineReader reader(device, mostBytes);
    std::string text;
    for (;;) {
        QByteArrayView line;
        switch (reader.next(line)) {
            case Next::line:
                text += sizes == nullptr ? line.toByteArray().toStdString() + '|' : std::string();
                if (sizes != nullptr) {
                    sizes->push_back(line.size());
                }
                continue;
            case Next::end:
                return text + "end";
            case Next::torn:
                return text + "torn";
            case Next::tooLong:
                return text + "too long";
            case Next::failed:
                return text + "failed";
        }
    }
}

std::string readBytes(QByteArray bytes, qsizetype mostBytes, std::vector<qsizetype>* sizes = nullptr) {
    QBuffer buffer(&bytes);
    EXPECT_TRUE(buffer.open(QIODevice::ReadOnly));
    return readAll(buffer, mostBytes, sizes);
}

/// A device that returns one byte at a time, and fails after `most` bytes.
class SlowDevice : public QIODevice {
  public:
    explicit SlowDevice(int most) : most_(most) {}

  protected:
    qint64 readData(char* data, qint64 /*size*/) override {
        if (most_-- == 0) {
            return -1;
        }
        *data = most_ % 2 == 0 ? '\n' : 'x';
        return 1;
    }
    qint64 writeData(const char* /*data*/, qint64 /*size*/) override { return -1; }

  private:
    int most_;
};

}  // namespace

TEST(LineReader, ReadsLinesAndReportsTheirEnd) {
    const struct {
        QByteArray bytes;
        std::string read;
    } cases[] = {
        {"", "end"},
        {"\n", "|end"},
        {"a\n", "a|end"},
        {"a\n\nb\n", "a||b|end"},
        {"a", "torn"},
        {"a\nb", "a|torn"},
        {"a\r\n", "a\r|end"},
        {"12345678\n", "12345678|end"},
        {"123456789", "too long"},
        {"123456789\n", "too long"},
        {"a\n123456789\nb\n", "a|too long"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(readBytes(row.bytes, 8), row.read) << row.bytes.constData();
    }
}

// The lines end before, at and after the ends of the pieces in which the reader reads the device.
TEST(LineReader, ReadsLinesAcrossPieces) {
    constexpr qsizetype piece = qsizetype{256} << 10;
    for (const qsizetype size : {piece - 2, piece - 1, piece, piece + 1, 3 * piece}) {
        const QByteArray bytes = QByteArray(size, 'a') + "\nb\n" + QByteArray(size, 'c') + '\n';
        std::vector<qsizetype> sizes;
        EXPECT_EQ(readBytes(bytes, 3 * piece, &sizes), "end") << size;
        EXPECT_EQ(sizes, (std::vector<qsizetype>{size, 1, size}));
        EXPECT_EQ(readBytes(bytes, size - 1), "too long") << size;
    }
}

TEST(LineReader, ReadsADeviceThatGivesOneByteAtATime) {
    SlowDevice device(5);
    ASSERT_TRUE(device.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    EXPECT_EQ(readAll(device, 8), "|x|x|failed");
}
