#include "ledger/Place.h"

#include "ledger/faults.h"

#include <QDir>
#include <QUrl>
#include <QUrlQuery>

#include <algorithm>
#include <array>

namespace ledger {
namespace {

constexpr int longestPatience = 600;

// Options of libpq that a URL may set. Others could undo the ledger's own settings.
constexpr std::array passedOptions = {
    "hostaddr", "passfile",    "service",    "sslcert",         "sslcrl",     "sslkey",
    "sslmode",  "sslrootcert", "gssencmode", "channel_binding", "krbsrvname", "target_session_attrs",
};

bool addOption(const QString& name, const QString& value, Place& place, Fault& fault) {
    // Qt separates options by semicolons and has no way to quote one.
    if (value.contains(u';') || value.contains(QChar::Null)) {
        return failed(QStringLiteral("the option %1 of the ledger's URL contains a semicolon or NUL").arg(name), fault);
    }
    QString quoted = value;
    quoted.replace(u'\\', QLatin1String("\\\\")).replace(u'\'', QLatin1String("\\'"));
    place.options +=
        QStringLiteral("%1%2='%3'").arg(place.options.isEmpty() ? QString() : QStringLiteral(";"), name, quoted);
    return true;
}

bool readOption(const QString& name, const QString& value, Place& place, Fault& fault) {
    if (name == QLatin1String("host")) {
        place.host = value;
        return true;
    }
    if (name == QLatin1String("connect_timeout")) {
        bool isNumber = false;
        place.patience = value.toInt(&isNumber, 10);
        if (!isNumber || place.patience < 2 || place.patience > longestPatience) {
            return failed(QStringLiteral("connect_timeout of the ledger's URL is %1; expected are 2 to %2 seconds")
                              .arg(value, QString::number(longestPatience)),
                          fault);
        }
        return true;
    }
    if (std::none_of(passedOptions.begin(), passedOptions.end(),
                     [&name](const char* option) { return name == QLatin1String(option); })) {
        return failed(QStringLiteral("the ledger's URL has the unknown option %1").arg(name), fault);
    }
    return addOption(name, value, place, fault);
}

bool readUrl(const QString& text, Place& place, Fault& fault) {
    // A message never quotes the URL, because it may contain a password.
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.hasFragment()) {
        return failed(QStringLiteral("the ledger's URL isn't valid; expected is "
                                     "postgresql://[user[:password]@][host][:port]/database[?option=value]"),
                      fault);
    }
    place.dialect = Dialect::postgres;
    place.host = url.host(QUrl::FullyDecoded);
    place.port = url.port();
    place.database = url.path(QUrl::FullyDecoded).mid(1);
    place.user = url.userName(QUrl::FullyDecoded);
    place.password = url.password(QUrl::FullyDecoded);
    for (const auto& [name, value] : QUrlQuery(url).queryItems(QUrl::FullyDecoded)) {
        if (!readOption(name, value, place, fault)) {
            return false;
        }
    }
    for (const QString& part : {place.host, place.database, place.user, place.password}) {
        if (part.contains(QChar::Null)) {
            return failed(QStringLiteral("the ledger's URL contains NUL"), fault);
        }
    }
    const QString server = place.host.isEmpty() ? QStringLiteral("the default server") : place.host;
    place.shown = QStringLiteral("the database %1 on %2").arg(place.database, server);
    return true;
}

}  // namespace

bool readPlace(const QString& text, Place& place, Fault& fault) {
    Place read;
    if (text.startsWith(QLatin1String("postgresql://")) || text.startsWith(QLatin1String("postgres://"))) {
        if (!readUrl(text, read, fault)) {
            return false;
        }
    } else {
        if (text.isEmpty() || text.contains(QChar::Null)) {
            return failed(QStringLiteral("the path of the ledger is empty or contains NUL"), fault);
        }
        // The path isn't cleaned, because ".." after a symbolic link doesn't lead to the folder that contains the link.
        read.path = QDir::isAbsolutePath(text) ? text : QDir::currentPath() + u'/' + text;
        read.shown = text;
    }
    place = read;
    return true;
}

}  // namespace ledger
