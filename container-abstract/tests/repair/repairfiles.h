#pragma once

#include <QDir>
#include <QFile>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace quenlofar {

/// A film in a directory of its own, and the names of what repairs make of it there.
class RepairFiles
{
protected:
    /// A new directory with `original` as the film.
    void make(const QByteArray &original)
    {
        m_directory = std::make_unique<QTemporaryDir>();
        QVERIFY(m_directory->isValid());
        m_file = m_directory->filePath(QStringLiteral("film.avi"));
        m_copy = m_directory->filePath(QStringLiteral("mended.avi"));
        m_journal = m_directory->filePath(QStringLiteral("film.undo"));
        put(m_file, original);
    }
    static void put(const QString &path, const QByteArray &bytes)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(bytes), qint64(bytes.size()));
    }
    static QByteArray bytesOf(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be read");
    }
    /// Of all files in the directory.
    QStringList names() const { return QDir(m_directory->path()).entryList(QDir::Files | QDir::Hidden, QDir::Name); }

    std::unique_ptr<QTemporaryDir> m_directory;
    QString m_file;
    QString m_copy;
    QString m_journal;
};

} // namespace quenlofar
