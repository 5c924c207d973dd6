#pragma once

#include <QByteArray>
#include <QObject>
#include <QStringList>
#include <QTcpServer>
#include <QUrl>

class QTcpSocket;

// A tiny HTTP/1.1 server on 127.0.0.1 that answers every request with what it was last told to. Requests
// are answered one connection each ("Connection: close").
class HttpStub : public QObject {
    Q_OBJECT

public:
    enum class Mode {
        Answer, // status line, headers and body, after `delayMs`
        Silent, // accept the request and never answer
        Close,  // close the connection without an answer
        Stream, // status line and headers, then a body that never ends
    };

    explicit HttpStub(QObject *parent = nullptr);

    bool listen();
    quint16 port() const { return server.serverPort(); }
    QUrl url(const QString &path = QStringLiteral("/state")) const;

    void answer(const QByteArray &body, int status = 200, int delayMs = 0);
    void setMode(Mode mode) { this->mode = mode; }

    int requestCount() const { return requests.size(); }
    // Body bytes handed to the connections in Stream mode, and how many of those connections the client
    // has closed.
    qint64 streamedBytes() const { return streamed; }
    int closedStreams() const { return streamsClosed; }
    // Request lines as received, e.g. "GET /state HTTP/1.1".
    QStringList requestLines() const { return requests; }
    // Header block of the latest request, without the request line.
    QByteArray lastHeaders() const { return headers; }

private:
    void onNewConnection();
    void onReadyRead(QTcpSocket *connection);
    void respond(QTcpSocket *connection);
    void stream(QTcpSocket *connection);

    QTcpServer server;
    Mode mode = Mode::Answer;
    QByteArray body;
    int status = 200;
    int delayMs = 0;
    QStringList requests;
    QByteArray headers;
    qint64 streamed = 0;
    int streamsClosed = 0;
};
