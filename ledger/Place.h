#pragma once

#include "ledger/schema.h"

#include <QString>

namespace ledger {

struct Fault;

/// The place of a ledger: a file, or a database of a server.
struct Place {
    Dialect dialect = Dialect::sqlite;
    QString path;  ///< absolute path of the file
    QString host;
    int port = -1;
    QString database;
    QString user;
    QString password;
    QString options;    ///< further options of libpq, in the form of QSqlDatabase::setConnectOptions
    int patience = 10;  ///< seconds for a connection or a statement; connect_timeout of the URL
    QString shown;      ///< the place in messages, without a password
};

/// Reads a path, or a URL postgresql://[user[:password]@][host][:port]/[database][?option=value&...]. The options are
/// those of libpq that choose or protect a connection.
[[nodiscard]] bool readPlace(const QString& text, Place& place, Fault& fault);

}  // namespace ledger
