// qz62ctl update micro|firmware|fonts: the unit's updates from the command
// line, through the same checks (updateplan) and engines as the
// application's Update menu. The options and the outcomes are here, the
// serial path in UpdateMicro.cpp, the network path in UpdateNetwork.cpp.
#include "UpdateCommon.h"
#include "CliCommands.h"
#include "CliSupport.h"

#include "base/Diagnostics.h"
#include "update/UpdateFiles.h"

#include <QFileInfo>
#include <cstdio>
#include <optional>

namespace cli::updatecmd {

// The documented exit status of each outcome (see the usage).
int exitStatus(UpdateStatus status) {
    switch (status) {
    case UpdateStatus::Success:
        return 0;
    case UpdateStatus::Declined:
        return 1;
    case UpdateStatus::NoUnit:
        return 3;
    case UpdateStatus::MissingUnitData:
        return 4;
    case UpdateStatus::RefusedFile:
        return 5;
    case UpdateStatus::SettingsUnread:
        return 6;
    case UpdateStatus::NoLoaderEcho:
        return 7;
    case UpdateStatus::NoEraseAck:
        return 8;
    case UpdateStatus::RecordRefused:
        return 9;
    case UpdateStatus::LinkLost:
        return 10;
    case UpdateStatus::NoProgress:
        return 11;
    case UpdateStatus::Aborted:
        return 130;
    case UpdateStatus::Running:
        break;
    }
    return 1;
}

// One line on standard error; the status for it.
int report(UpdateStatus status, const QString& message) {
    cli::warn(QStringLiteral("update: ") + message);
    return exitStatus(status);
}

int refused(const UpdateCheck& check) {
    return report(check.status, check.message);
}

// The end of a run that went to the unit.
int finished(const Progress& end) {
    if (end.status == UpdateStatus::Success) {
        std::printf("%s\n", end.msg.toLocal8Bit().constData());
        return 0;
    }
    const QString next = updateplan::nextStep(end.status);
    if (next.isEmpty())
        return report(end.status, end.msg);
    const bool stop = end.msg.endsWith(QLatin1Char('!')) || end.msg.endsWith(QLatin1Char('.'));
    return report(end.status, end.msg + (stop ? QStringLiteral(" ") : QStringLiteral(". ")) + next);
}

QString eraseQuestion(const QString& detail) {
    QString question = QString::fromLatin1(updateplan::kEraseQuestion);
    if (!detail.isEmpty())
        question += QLatin1Char(' ') + detail;
    return question + QStringLiteral(" Start the update?");
}

} // namespace cli::updatecmd

namespace {

using cli::updatecmd::UpdateOptions;

bool parseHostPort(const QString& text, UpdateOptions& o) {
    const qsizetype colon = text.lastIndexOf(QLatin1Char(':'));
    bool ok = false;
    const uint port = colon > 0 ? text.mid(colon + 1).toUInt(&ok) : 0;
    if (!ok || port == 0 || port > 65535)
        return false;
    o.host = text.left(colon);
    o.hostPort = quint16(port);
    return true;
}

// An option that takes a value; the error, or nothing when it was taken.
std::optional<QString> valueOption(const QString& a, const QString& value, UpdateOptions& o) {
    const bool micro = o.kind == QLatin1String("micro");
    if (a == QLatin1String("--port") && micro) {
        o.port = value;
    } else if (a == QLatin1String("--host") && !micro) {
        if (!parseHostPort(value, o))
            return QStringLiteral("bad --host '%1' (HOST:PORT)").arg(value);
    } else if (a == QLatin1String("--timeout") && !micro) {
        bool ok = false;
        o.timeoutS = value.toInt(&ok);
        if (!ok || o.timeoutS <= 0)
            return QStringLiteral("bad --timeout '%1' (seconds)").arg(value);
    } else if (a == QLatin1String("--unit-data")) {
        qputenv(updatefiles::kDataEnvironment, QFileInfo(value).absoluteFilePath().toLocal8Bit());
    } else {
        return QStringLiteral("%1 is not an option of update %2").arg(a, o.kind);
    }
    return std::nullopt;
}

// The arguments after "update"; an error message when they make no sense.
std::optional<QString> parseOptions(const QStringList& args, UpdateOptions& o) {
    o.port = qEnvironmentVariable("QZ62_PORT");
    o.kind = args.value(0);
    if (o.kind != QLatin1String("micro") && o.kind != QLatin1String("firmware") &&
        o.kind != QLatin1String("fonts"))
        return QStringLiteral("what to update: micro, firmware or fonts");
    for (qsizetype i = 1; i < args.size(); ++i) {
        QString a = args.at(i);
        QString value;
        if (a == QLatin1String("--yes") || a == QLatin1String("-y")) {
            o.yes = true;
        } else if (a.startsWith(QLatin1String("--")) && a.contains(QLatin1Char('='))) {
            value = a.mid(a.indexOf(QLatin1Char('=')) + 1);
            a = a.left(a.indexOf(QLatin1Char('=')));
            if (auto error = valueOption(a, value, o))
                return error;
        } else if (a.startsWith(QLatin1String("--"))) {
            if (!cli::takeValue(args, i, &value))
                return QStringLiteral("%1 needs a value").arg(a);
            if (auto error = valueOption(a, value, o))
                return error;
        } else if (o.file.isEmpty()) {
            o.file = a;
        } else {
            return QStringLiteral("more than one file ('%1')").arg(a);
        }
    }
    if (o.kind == QLatin1String("micro") && o.file.isEmpty())
        return QStringLiteral("update micro needs an .s19 file");
    return std::nullopt;
}

} // namespace

namespace cli {

int update(const QStringList& args) {
    UpdateOptions o;
    if (const auto error = parseOptions(args, o)) {
        std::fputs(usageOf(QStringLiteral("update")), stderr);
        return fail(QStringLiteral("update: ") + *error);
    }
    diag::setQuiet(true);
    if (o.kind == QLatin1String("micro"))
        return updatecmd::updateMicro(o);
    return updatecmd::updateNetwork(o);
}

} // namespace cli
