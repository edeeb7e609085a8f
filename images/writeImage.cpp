#include "images/writeImage.h"

#include "display/Display.h"
#include "files/outputFile.h"

bool writeImage(const QString& path, QByteArrayView image) {
    switch (replaceFile(path, image)) {
        case ReplaceResult::done:
            return true;
        case ReplaceResult::cannotOpen:
            return reportError("Failed to open %s file in write mode.", qUtf8Printable(path));
        case ReplaceResult::cannotWrite:
            break;
    }
    return reportError("Failed to write %s file.", qUtf8Printable(path));
}
