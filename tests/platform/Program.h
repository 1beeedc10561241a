#pragma once

#include <QProcess>
#include <QTest>

/// A program that runs beside the test, and ends with this object.
class Program
{
public:
    explicit Program(const QString& program, const QStringList& arguments = {},
                     const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
    {
        m_process.setProcessEnvironment(environment);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(program, arguments);
    }
    ~Program() { end(); }

    void end()
    {
        m_process.terminate();
        m_process.waitForFinished();
    }
    bool hasEnded() const { return m_process.state() == QProcess::NotRunning; }
    /// -1: it did not leave by itself.
    int exitCode() const { return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1; }

    /// All lines so far.
    QList<QByteArray> lines()
    {
        m_said += m_process.readAllStandardOutput();
        return m_said.trimmed().split('\n');
    }

    /// Waits until it has said that, after what was waited for last.
    bool says(const QByteArray& text)
    {
        return QTest::qWaitFor(
            [&] {
                lines();
                const auto place = m_said.indexOf(text, m_heard);
                if (place < 0)
                    return false;
                m_before = m_said.mid(m_heard, place - m_heard);
                m_heard = place + text.size();
                return true;
            },
            20000);
    }
    /// What it had said between the two.
    QByteArray before() const { return m_before; }

private:
    QProcess m_process;
    QByteArray m_said;
    QByteArray m_before;
    qsizetype m_heard = 0;
};
