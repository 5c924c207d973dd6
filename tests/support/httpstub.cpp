#include "httpstub.h"

#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

HttpStub::HttpStub(QObject *parent) : QObject(parent) {
    connect(&server, &QTcpServer::newConnection, this, &HttpStub::onNewConnection);
}

bool HttpStub::listen() {
    return server.listen(QHostAddress(QHostAddress::LocalHost), 0);
}

QUrl HttpStub::url(const QString &path) const {
    QUrl url;
    url.setScheme(QStringLiteral("http"));
    url.setHost(QStringLiteral("127.0.0.1"));
    url.setPort(port());
    url.setPath(path);
    return url;
}

void HttpStub::answer(const QByteArray &body, int status, int delayMs) {
    mode = Mode::Answer;
    this->body = body;
    this->status = status;
    this->delayMs = delayMs;
}

void HttpStub::onNewConnection() {
    while (QTcpSocket *connection = server.nextPendingConnection()) {
        connection->setParent(this);
        connect(connection, &QTcpSocket::readyRead, this, [this, connection] { onReadyRead(connection); });
        connect(connection, &QTcpSocket::disconnected, connection, &QObject::deleteLater);
    }
}

void HttpStub::onReadyRead(QTcpSocket *connection) {
    // The whole request head is kept on the socket until its blank line has arrived.
    QByteArray head = connection->property("head").toByteArray() + connection->readAll();
    connection->setProperty("head", head);
    const int end = head.indexOf("\r\n\r\n");
    if (end < 0 || connection->property("answered").toBool())
        return;
    connection->setProperty("answered", true);
    const int lineEnd = head.indexOf("\r\n");
    requests.append(QString::fromLatin1(head.left(lineEnd)));
    headers = head.mid(lineEnd + 2, end - lineEnd - 2);

    switch (mode) {
    case Mode::Silent:
        return;
    case Mode::Close:
        connection->abort();
        connection->deleteLater();
        return;
    case Mode::Stream:
        stream(connection);
        return;
    case Mode::Answer:
        if (delayMs <= 0) {
            respond(connection);
        } else {
            QPointer<QTcpSocket> guard(connection);
            QTimer::singleShot(delayMs, this, [this, guard] {
                if (guard)
                    respond(guard);
            });
        }
        return;
    }
}

void HttpStub::respond(QTcpSocket *connection) {
    QByteArray reason = status == 200 ? "OK" : "Error";
    QByteArray response = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reason + "\r\n";
    response += "Content-Type: application/json\r\n";
    response += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    response += "Connection: close\r\n\r\n";
    response += body;
    connection->write(response);
    connection->disconnectFromHost();
}

// A body with no length and no end: 16 KiB every millisecond, as long as the client keeps the connection.
void HttpStub::stream(QTcpSocket *connection) {
    connection->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n\r\n");
    auto *timer = new QTimer(connection);
    const QByteArray chunk(16 * 1024, ' ');
    connect(timer, &QTimer::timeout, connection, [this, connection, chunk] {
        // Only as much as the connection drains, so the stub's own memory stays small too.
        if (connection->bytesToWrite() > 4 * chunk.size())
            return;
        connection->write(chunk);
        streamed += chunk.size();
    });
    connect(connection, &QTcpSocket::disconnected, this, [this] { ++streamsClosed; });
    timer->start(1);
}
