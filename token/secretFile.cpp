#include "token/secretFile.h"

#include "display/Display.h"
#include "files/readWhole.h"

#include <QFile>

#include <sys/stat.h>

namespace token {

bool readSecretFile(const QString& path, const char* what, qint64 limit, QByteArray& content) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return reportError("The %s %s can't be opened : %s", what, qUtf8Printable(path),
                           qUtf8Printable(file.errorString()));
    }
    struct stat status {};
    if (fstat(file.handle(), &status) != 0 || (status.st_mode & 0077) != 0) {
        return reportError("The %s %s can be used by others, its mode must be 0600", what, qUtf8Printable(path));
    }
    return readUpTo(file, limit, content) ||
           reportError("The %s %s can't be read, or has more than %lld bytes", what, qUtf8Printable(path), limit);
}

}  // namespace token
