#pragma once

#include "documentwork.h"
#include "filefacts.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace quenlofar {

/// A file of a folder, and what is known of it.
struct FolderFile
{
    QString path; ///< to open it by, see pathFromBytes
    QString name; ///< its path from the folder on
    bool isRead = false; ///< `facts` say something
    FileFacts facts; ///< as `quenlofar summary` has them
};

/**
 * Finds the files below a folder whose extensions the plug-ins claim, and has a few threads read and judge them. Lives
 * in the window's thread; news come between two events, a bounded number at a time. Nobody waits for the threads.
 */
class FolderScan : public QObject
{
    Q_OBJECT

public:
    static constexpr size_t mostFiles = 250'000; ///< more are not listed
    static constexpr size_t mostAtOnce = 2'000; ///< files and facts that come with one event
    static constexpr int mostProblems = 1'000; ///< that are kept; more are counted
    static constexpr int mostThreads = 4; ///< that read files

    /// Begins to look below `folder`, with the plug-ins and limits of `options`. Parsers that come from no plug-in
    /// claim the extensions that they have themselves.
    FolderScan(const QString &folder, const DocumentOptions &options, QObject *parent = nullptr);
    /// Does not wait for the threads.
    ~FolderScan() override;

    const QString &folder() const { return m_folder; } ///< as it was given
    const std::vector<FolderFile> &files() const { return m_files; } ///< in the order in which they were found
    size_t readCount() const { return m_readCount; } ///< files whose facts are known
    bool isListed() const { return m_isListed; } ///< files() has all of them
    bool isCut() const { return m_files.size() == mostFiles; } ///< there may be more of them
    bool isStopped() const { return m_isStopped; } ///< by stop()
    bool isDone() const { return m_isStopped || (m_isListed && m_readCount == m_files.size()); } ///< nothing more comes
    const QStringList &problems() const { return m_problems; } ///< what cannot be searched, one sentence each
    quint64 problemCount() const { return m_problemCount; } ///< also of those that were not kept
    void stop(); ///< looks for nothing more; what came stays

Q_SIGNALS:
    void changed(); ///< more is known

protected:
    void customEvent(QEvent *event) override;

private:
    class Work;

    const QString m_folder;
    std::shared_ptr<Work> m_work;
    std::vector<FolderFile> m_files;
    size_t m_readCount = 0;
    bool m_isListed = false;
    bool m_isStopped = false;
    QStringList m_problems;
    quint64 m_problemCount = 0;
};

} // namespace quenlofar
