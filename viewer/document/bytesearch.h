#pragma once

#include "bytepattern.h"
#include "containerrun.h"
#include "errand.h"

#include <QObject>
#include <QString>

#include <optional>
#include <vector>

namespace quenlofar {

/**
 * Looks for bytes in a whole file, from its begin to its end, in a thread that nobody waits for. Lives in the window's
 * thread; what is found comes between two events. Sparse parts of a file are passed by where zeros cannot match.
 */
class ByteSearch : public QObject
{
    Q_OBJECT

public:
    /// Places that are kept; more are only counted.
    static constexpr quint64 mostKept = 1'000'000;

    /// In the file `path`, read through `opener`, or from the disk where there is none.
    ByteSearch(QString path, SourceOpener opener, QObject *parent = nullptr);

    /// Looks for `query`; what was found before is forgotten.
    void start(const ByteQuery &query);
    /// Looks no further; what was found stays.
    void cancel();
    /// Looks no further and forgets what was found.
    void clear();

    bool isActive() const { return !m_query.patterns.empty(); } ///< something was looked for, or is
    bool isRunning() const { return m_looking.isRunning(); } ///< a thread looks
    bool isWhole() const { return m_isWhole; } ///< the search came to the end of the file
    const QString &error() const { return m_error; } ///< why it ended early; null where it did not
    int progress() const; ///< in percent
    quint64 count() const { return m_count; } ///< places so far
    const std::vector<quint64> &places() const { return m_places; } ///< bytes from the start of the file, in order
    int size() const { return m_query.size(); } ///< bytes of each place
    /// The position in places() of the first one behind the byte `offset`; nothing where there is none so far.
    std::optional<size_t> behind(quint64 offset) const;
    /// The position in places() of the last one before the byte `offset`; nothing where there is none.
    std::optional<size_t> before(quint64 offset) const;

Q_SIGNALS:
    void changed(); ///< more was found, or the search is over, or another one began

private:
    class Look;
    struct News;

    void take(const News &news);

    const QString m_path;
    const SourceOpener m_opener;
    ByteQuery m_query;
    Errand m_looking;
    std::vector<quint64> m_places;
    quint64 m_count = 0;
    quint64 m_done = 0; // bytes
    quint64 m_fileSize = 0;
    bool m_isWhole = false;
    QString m_error;
};

} // namespace quenlofar
