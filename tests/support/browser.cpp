#include "tests/support/browser.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTimer>

namespace {

constexpr int AnswerMilliseconds = 60000;

QString program(const char *name)
{
    return QStandardPaths::findExecutable(QLatin1String(name));
}

/// Keeps the browser from all that it does for itself.
QJsonArray browserArguments(const QString &profile)
{
    QJsonArray arguments;
    for (const char *argument :
         {"--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
          "--disable-dev-shm-usage", "--no-first-run", "--disable-background-networking",
          "--disable-component-update", "--disable-sync", "--window-size=1280,900"}) {
        arguments.append(QLatin1String(argument));
    }
    arguments.append(QStringLiteral("--user-data-dir=") + profile);
    return arguments;
}

QJsonObject sessionRequest(const QString &profile)
{
    const QJsonObject chromium{{QStringLiteral("binary"), program("chromium")},
                               {QStringLiteral("args"), browserArguments(profile)}};
    const QJsonObject logs{{QStringLiteral("browser"), QStringLiteral("ALL")},
                           {QStringLiteral("performance"), QStringLiteral("ALL")}};
    // A dialog stays open, so that a test can see it.
    const QJsonObject wanted{{QStringLiteral("goog:chromeOptions"), chromium},
                             {QStringLiteral("goog:loggingPrefs"), logs},
                             {QStringLiteral("unhandledPromptBehavior"), QStringLiteral("ignore")}};
    return {{QStringLiteral("capabilities"), QJsonObject{{QStringLiteral("alwaysMatch"), wanted}}}};
}

} // namespace

Browser::~Browser()
{
    if (m_address.contains(QLatin1String("/session/"))) {
        send("DELETE", QString());
    }
    m_driver.terminate();
    if (!m_driver.waitForFinished(10000)) {
        m_driver.kill();
        m_driver.waitForFinished();
    }
}

bool Browser::isInstalled()
{
    return !program("chromium").isEmpty() && !program("chromedriver").isEmpty();
}

bool Browser::start()
{
    m_network.setProxy(QNetworkProxy::NoProxy);
    m_driver.start(program("chromedriver"), {QStringLiteral("--port=0")});
    static const QRegularExpression portText(QStringLiteral("on port (\\d+)\\."));
    QString output;
    QRegularExpressionMatch port;
    while (!port.hasMatch()) {
        if (!m_driver.waitForReadyRead(AnswerMilliseconds)) {
            return false;
        }
        output += QString::fromUtf8(m_driver.readAllStandardOutput());
        port = portText.match(output);
    }
    m_address = QStringLiteral("http://127.0.0.1:") + port.captured(1);
    const QJsonObject session =
        send("POST", QStringLiteral("/session"), sessionRequest(m_profile.path()));
    const QString id = session.value(QStringLiteral("sessionId")).toString();
    m_address += QStringLiteral("/session/") + id;
    return !id.isEmpty();
}

QJsonObject Browser::send(const QByteArray &method, const QString &path, const QJsonObject &body)
{
    QNetworkRequest request{QUrl(m_address + path)};
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    const QByteArray json =
        method == "POST" ? QJsonDocument(body).toJson(QJsonDocument::Compact) : QByteArray();
    QNetworkReply *reply = m_network.sendCustomRequest(request, method, json);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(AnswerMilliseconds, &loop, &QEventLoop::quit);
    loop.exec();
    const QJsonValue value =
        QJsonDocument::fromJson(reply->readAll()).object().value(QStringLiteral("value"));
    reply->deleteLater();
    return value.isObject() ? value.toObject() : QJsonObject{{QStringLiteral("value"), value}};
}

bool Browser::open(const QUrl &url)
{
    return !send("POST", QStringLiteral("/url"), {{QStringLiteral("url"), url.toString()}})
                .contains(QStringLiteral("error"));
}

QJsonValue Browser::run(const char *body, const QJsonArray &arguments)
{
    // A result that is an object would look like that of the protocol.
    const QString script = QStringLiteral("return [(function () { %1 }).apply(null, arguments)];")
                               .arg(QLatin1String(body));
    const QJsonObject answer =
        send("POST", QStringLiteral("/execute/sync"),
             {{QStringLiteral("script"), script}, {QStringLiteral("args"), arguments}});
    if (answer.contains(QStringLiteral("error"))) {
        qWarning("%s", qUtf8Printable(answer.value(QStringLiteral("message")).toString()));
    }
    return answer.value(QStringLiteral("value")).toArray().first();
}

QString Browser::elementPath(const char *selector, const QString &action)
{
    const QJsonObject element = send("POST", QStringLiteral("/element"),
                                     {{QStringLiteral("using"), QStringLiteral("css selector")},
                                      {QStringLiteral("value"), QLatin1String(selector)}});
    return element.isEmpty() ? QString()
                             : QStringLiteral("/element/%1/%2")
                                   .arg(element.constBegin().value().toString(), action);
}

bool Browser::type(const char *selector, const QString &keys)
{
    return !send("POST", elementPath(selector, QStringLiteral("value")),
                 {{QStringLiteral("text"), keys}})
                .contains(QStringLiteral("error"));
}

bool Browser::click(const char *selector)
{
    return !send("POST", elementPath(selector, QStringLiteral("click")))
                .contains(QStringLiteral("error"));
}

QByteArray Browser::screenshot()
{
    const QString picture =
        send("GET", QStringLiteral("/screenshot")).value(QStringLiteral("value")).toString();
    return QByteArray::fromBase64(picture.toLatin1());
}

QString Browser::dialog()
{
    return send("GET", QStringLiteral("/alert/text")).value(QStringLiteral("value")).toString();
}

QJsonObject Browser::devTools(const char *command, const QJsonObject &parameters)
{
    return send(
        "POST", QStringLiteral("/goog/cdp/execute"),
        {{QStringLiteral("cmd"), QLatin1String(command)}, {QStringLiteral("params"), parameters}});
}

QJsonArray Browser::log(const char *type)
{
    return send("POST", QStringLiteral("/se/log"), {{QStringLiteral("type"), QLatin1String(type)}})
        .value(QStringLiteral("value"))
        .toArray();
}
