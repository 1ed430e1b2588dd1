#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

/// A headless browser that does what it is told, over the protocol of its driver.
class Browser
{
public:
    ~Browser();

    /// Whether the browser and its driver are installed.
    static bool isInstalled();
    /// Starts both. Returns false when they do not answer.
    bool start();
    bool open(const QUrl &url);
    /// What the body of a function returns, called with the arguments.
    QJsonValue run(const char *body, const QJsonArray &arguments = {});
    /// Types into the first element that the selector matches.
    bool type(const char *selector, const QString &keys);
    bool click(const char *selector);
    /// A picture of what the window shows, as PNG.
    QByteArray screenshot();
    /// The text of a dialog that is open; a null string where none is.
    QString dialog();
    /// A command for the developer tools of the browser.
    QJsonObject devTools(const char *command, const QJsonObject &parameters);
    /// What has been logged since the last call: "browser" (errors), "performance" (requests).
    QJsonArray log(const char *type);

private:
    QJsonObject send(const QByteArray &method, const QString &path,
                     const QJsonObject &body = QJsonObject());
    QString elementPath(const char *selector, const QString &action);

    QTemporaryDir m_profile;
    QProcess m_driver;
    QNetworkAccessManager m_network;
    QString m_address; ///< of the driver, then of the session
};
