#include "record/LineReader.h"

namespace record {

namespace {

constexpr qsizetype chunkSize = qsizetype{256} << 10;

}  // namespace

LineReader::Next LineReader::next(QByteArrayView& line) {
    for (;;) {
        const qsizetype lineFeed = buffer_.indexOf('\n', scanned_);
        const qsizetype size = (lineFeed < 0 ? buffer_.size() : lineFeed) - start_;
        if (size > mostBytes_) {
            return Next::tooLong;
        }
        if (lineFeed >= 0) {
            line = QByteArrayView(buffer_).sliced(start_, size);
            start_ = scanned_ = lineFeed + 1;
            return Next::line;
        }
        bool isEnd = false;
        if (!readMore(isEnd)) {
            return Next::failed;
        }
        if (isEnd) {
            return size == 0 ? Next::end : Next::torn;
        }
    }
}

bool LineReader::readMore(bool& isEnd) {
    buffer_.remove(0, start_);
    start_ = 0;
    scanned_ = buffer_.size();
    buffer_.resize(scanned_ + chunkSize);
    const qint64 count = device_.read(buffer_.data() + scanned_, chunkSize);
    buffer_.truncate(scanned_ + qMax(count, qint64{0}));
    isEnd = count == 0;
    return count >= 0;
}

}  // namespace record
