#include "tests/ledger/PostgresServer.h"

#include "tests/support/TempFolder.h"

#include <QDir>
#include <QFile>
#include <QThread>

#include <algorithm>
#include <csignal>
#include <vector>

#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr char superuser[] = "owner";

const passwd* ordinaryUser() {
    if (geteuid() != 0) {
        return nullptr;
    }
    const passwd* const user = getpwnam("postgres");
    return user != nullptr ? user : getpwnam("nobody");
}

// The process runs as an ordinary user, and ends if the test program does, also by a crash.
void dropRights(QProcess& process) {
    const passwd* const user = ordinaryUser();
    const bool isRoot = user != nullptr;
    const uid_t uid = isRoot ? user->pw_uid : 0;
    const gid_t gid = isRoot ? user->pw_gid : 0;
    process.setChildProcessModifier([isRoot, uid, gid] {
        if (isRoot && (setgroups(0, nullptr) != 0 || setresgid(gid, gid, gid) != 0 || setresuid(uid, uid, uid) != 0)) {
            _exit(126);
        }
        prctl(PR_SET_PDEATHSIG, SIGQUIT);
    });
}

std::vector<pid_t> childrenOf(qint64 parent) {
    std::vector<pid_t> children;
    for (const QString& name : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        QFile file(QStringLiteral("/proc/%1/stat").arg(name));
        if (!file.open(QIODevice::ReadOnly)) {
            continue;
        }
        const QByteArray stat = file.readAll();  // "pid (name) state parent ..."
        const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 1 && fields.at(1).toLongLong() == parent) {
            children.push_back(name.toInt());
        }
    }
    return children;
}

}  // namespace

PostgresServer& PostgresServer::instance() {
    static PostgresServer server;
    return server;
}

PostgresServer::PostgresServer() {
    const QDir root(QStringLiteral("/usr/lib/postgresql"));
    for (const QString& version : root.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        binaries_ = root.filePath(version) + QStringLiteral("/bin/");
    }
    if (!QFile::exists(program("postgres"))) {
        fault_ = QStringLiteral("PostgreSQL's server (package postgresql-15) is not installed");
        return;
    }
    if (initialize() && !start()) {
        fault_ = QStringLiteral("the PostgreSQL server doesn't start: ") +
                 QString::fromUtf8(fileContent(folder_.filePath(QStringLiteral("log"))));
    }
}

PostgresServer::~PostgresServer() {
    kill();
}

QString PostgresServer::program(const char* name) const {
    return binaries_ + QString::fromLatin1(name);
}

QByteArray PostgresServer::run(const char* name, const QStringList& arguments, const QByteArray& input,
                               bool& isGood) const {
    QProcess process;
    dropRights(process);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setWorkingDirectory(folder_.path());
    process.start(program(name), arguments);
    process.write(input);
    process.closeWriteChannel();
    isGood = process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    return process.readAll();
}

void PostgresServer::own(const QString& path) const {
    const passwd* const user = ordinaryUser();
    if (user != nullptr && chown(QFile::encodeName(path).constData(), user->pw_uid, user->pw_gid) != 0) {
        qFatal("cannot give %s to the user of the server", qUtf8Printable(path));
    }
}

bool PostgresServer::initialize() {
    own(folder_.path());
    bool isGood = false;
    const QByteArray output = run("initdb",
                                  {QStringLiteral("-D"), folder_.filePath(QStringLiteral("data")), QStringLiteral("-U"),
                                   QString::fromLatin1(superuser), QStringLiteral("--auth=trust"), QStringLiteral("-E"),
                                   QStringLiteral("UTF8"), QStringLiteral("--locale=C.UTF-8")},
                                  {}, isGood);
    if (!isGood) {
        fault_ = QStringLiteral("initdb failed: ") + QString::fromUtf8(output);
    }
    // Only the role "guarded" has to give a password.
    QFile rules(folder_.filePath(QStringLiteral("data/pg_hba.conf")));
    if (isGood && rules.open(QIODevice::ReadWrite)) {
        const QByteArray old = rules.readAll();
        rules.seek(0);
        rules.write("local all guarded scram-sha-256\n" + old);
    }
    return isGood;
}

bool PostgresServer::start() {
    dropRights(server_);
    server_.setProcessChannelMode(QProcess::MergedChannels);
    server_.setStandardOutputFile(folder_.filePath(QStringLiteral("log")), QIODevice::Append);
    server_.setWorkingDirectory(folder_.path());
    for (int i = 0; i < 600; ++i) {
        // After a crash, the server doesn't start before the last of its old processes has ended.
        if (server_.state() == QProcess::NotRunning) {
            server_.start(program("postgres"),
                          {QStringLiteral("-D"), folder_.filePath(QStringLiteral("data")), QStringLiteral("-k"),
                           folder_.path(), QStringLiteral("-c"), QStringLiteral("listen_addresses="),
                           QStringLiteral("-c"), QStringLiteral("fsync=on")});
        }
        server_.waitForFinished(50);
        if (psql(QStringLiteral("postgres"), QString::fromLatin1(superuser), "SELECT 1").startsWith("1\n")) {
            return true;
        }
    }
    return false;
}

void PostgresServer::signalAll(int number) const {
    const qint64 parent = server_.processId();
    if (parent > 0) {
        // The parent stops first, so that it can't start further processes.
        const auto pid = static_cast<pid_t>(parent);
        if (number != SIGCONT) {
            ::kill(pid, SIGSTOP);
        }
        for (const pid_t child : childrenOf(parent)) {
            ::kill(child, number);
        }
        ::kill(pid, number);
    }
}

void PostgresServer::kill() {
    if (server_.state() != QProcess::NotRunning) {
        signalAll(SIGKILL);
        server_.waitForFinished(-1);
    }
}

void PostgresServer::crash() {
    kill();
    if (!start()) {
        fault_ = QStringLiteral("the PostgreSQL server doesn't start again");
    }
}

QString PostgresServer::newDatabase() {
    const QString name = QStringLiteral("test%1").arg(++databases_);
    const QByteArray output =
        psql(QStringLiteral("postgres"), QString::fromLatin1(superuser), "CREATE DATABASE " + name.toLatin1());
    if (!output.isEmpty()) {
        fault_ = QString::fromUtf8(output);
    }
    return name;
}

QString PostgresServer::url(const QString& database, const QString& role) const {
    return QStringLiteral("postgresql://%1@/%2?host=%3").arg(role, database, folder_.path());
}

QByteArray PostgresServer::psql(const QString& database, const QString& role, const QByteArray& sql) const {
    bool isGood = false;
    return run("psql",
               {QStringLiteral("-X"), QStringLiteral("-q"), QStringLiteral("-A"), QStringLiteral("-t"),
                QStringLiteral("-v"), QStringLiteral("ON_ERROR_STOP=1"), QStringLiteral("-h"), folder_.path(),
                QStringLiteral("-U"), role, QStringLiteral("-d"), database, QStringLiteral("-f"), QStringLiteral("-")},
               sql, isGood);
}
