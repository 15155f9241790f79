// Everything that is found in the golden files at level deep. Each row was compared with the bytes of its file: the
// comments say what stands there.
#include "judging.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace quenlofar;

namespace {

struct Row
{
    const char *file;
    const char *rule;
    Severity severity;
    int stream; ///< -1 for a matter of the file
    quint64 count;
    quint64 offset; ///< of the first place
    const char *cause; ///< the rule that explains it; null at the top
};

constexpr Severity error = Severity::Error;
constexpr Severity warning = Severity::Warning;
constexpr Severity note = Severity::Note;

// Files that are not named have no finding.
constexpr Row rows[] = {
    // The entry of the only chunk of sound has no flags; dvgrab sets AVIIF_KEYFRAME for frames alone.
    {"dvgrab-dv-type2.avi", "idx1-audio-not-key", note, 1, 1, 126964, nullptr},

    // The four and five empty chunks of sound are those that idx1 gives no flag; it has 49 and 47.
    {"ffmpeg-h264-aac-ac3-audio-first.avi", "idx1-audio-not-key", note, 0, 4, 33054, nullptr},
    {"ffmpeg-h264-aac-ac3-audio-first.avi", "idx1-audio-not-key", note, 2, 5, 33182, nullptr},

    // One of 21 chunks of video has the size 0.
    {"ffmpeg-mpeg4-mp3vbr-info-utf8.avi", "empty-frames", note, 0, 1, 12286, nullptr},

    // The subtitle codec uses 01sb in a stream of video. The film has ten pictures a second in a stream of twenty.
    {"ffmpeg-mpeg4-xsub.avi", "chunk-kind", note, 1, 2, 11574, nullptr},
    {"ffmpeg-mpeg4-xsub.avi", "empty-frames", note, 0, 20, 11764, nullptr},

    // RIFF and movi state 0xFFFFFFFF, dwTotalFrames 0 and both dwLength 2^30, of 20 frames and 39 chunks of sound:
    // nobody could go back in a pipe. idx1 was not written either.
    {"ffmpeg-pipe-open-sizes.avi", "size-open", error, -1, 2, 4, nullptr},
    {"ffmpeg-pipe-open-sizes.avi", "index-missing", warning, -1, 1, 1470, "size-open"},
    {"ffmpeg-pipe-open-sizes.avi", "frame-count", error, 0, 1, 48, "size-open"},
    {"ffmpeg-pipe-open-sizes.avi", "stream-length", error, 0, 1, 140, "size-open"},
    {"ffmpeg-pipe-open-sizes.avi", "stream-length", error, 1, 1, 340, "size-open"},

    // 11025 / 1018 blocks of 1024 bytes a second are 11090 bytes, and nAvgBytesPerSec says 16000: a nominal rate.
    {"ffmpeg-vp8-adpcm-ms.avi", "byte-rate", note, 1, 1, 4460, nullptr},

    // The strf of MP3 has 18 bytes, without MPEGLAYER3WAVEFORMAT, which is a warning. The notes: avih states no buffer
    // size, idx1 counts from the start of the file and flags no sound, and of 8255 bytes dwLength says 8254.
    {"gstreamer-mjpeg-mp3.avi", "buffer-unset", note, -1, 1, 60, nullptr},
    {"gstreamer-mjpeg-mp3.avi", "mp3-format-size", warning, 1, 1, 832, nullptr},
    {"gstreamer-mjpeg-mp3.avi", "idx1-base", note, -1, 1, 54580, nullptr},
    {"gstreamer-mjpeg-mp3.avi", "idx1-audio-not-key", note, 1, 79, 54576, nullptr},
    {"gstreamer-mjpeg-mp3.avi", "stream-length", note, 1, 1, 808, nullptr},

    // MEncoder leaves the buffer size of avih 0, and lets MP3 begin at tick 400.
    {"mencoder-dx50-pcm16-info-latin1.avi", "buffer-unset", note, -1, 1, 60, nullptr},
    {"mencoder-xvid-mp3cbr.avi", "buffer-unset", note, -1, 1, 60, nullptr},
    {"mencoder-xvid-mp3cbr.avi", "stream-start", note, 1, 1, 336, nullptr},

    // A chunk abcd, 3 and 1001 random bytes and 64 zeros were put into movi (1676 bytes with the header of abcd), and
    // no offset of idx1 was corrected: its 86 entries behind all of them hit from 1676 bytes further on, and the
    // fourteen before (ten of sound, four frames) miss. One frame is empty.
    {"spliced-garbage.avi", "foreign-bytes", error, -1, 2, 12826, nullptr},
    {"spliced-garbage.avi", "zero-bytes", error, -1, 1, 14652, nullptr},
    {"spliced-garbage.avi", "unknown-chunk", note, -1, 1, 10070, nullptr},
    {"spliced-garbage.avi", "idx1-base", error, -1, 1, 23040, "foreign-bytes"},
    {"spliced-garbage.avi", "idx1-no-such-chunk", error, 1, 10, 23040, "foreign-bytes"},
    {"spliced-garbage.avi", "idx1-no-such-chunk", error, 0, 4, 23072, "foreign-bytes"},
    {"spliced-garbage.avi", "idx1-chunk-not-indexed", error, 1, 10, 10678, "foreign-bytes"},
    {"spliced-garbage.avi", "idx1-chunk-not-indexed", error, 0, 4, 11190, "foreign-bytes"},
    {"spliced-garbage.avi", "empty-frames", note, 0, 1, 12897, nullptr},

    // dwTotalFrames of avih counts the frames of both RIFF lists, 20 instead of 5, and the super index of the sound
    // chunks (44 and 35) instead of ticks of one byte (4598 and 3657). The notes are those of MEncoder.
    {"spliced-opendml-avix.avi", "buffer-unset", note, -1, 1, 60, nullptr},
    {"spliced-opendml-avix.avi", "stream-start", note, 1, 1, 496, nullptr},
    {"spliced-opendml-avix.avi", "frame-count", warning, 0, 1, 48, nullptr},
    {"spliced-opendml-avix.avi", "super-duration", error, 1, 2, 606, nullptr},

    // MEncoder again.
    {"spliced-opendml-std-index.avi", "buffer-unset", note, -1, 1, 60, nullptr},
    {"spliced-opendml-std-index.avi", "stream-start", note, 1, 1, 608, nullptr},

    // 13773 bytes of 22956 are there: six frames of 21, the last one cut and one empty, 18 chunks of sound of 79, and
    // no idx1, which AVIF_HASINDEX promises.
    {"spliced-truncated.avi", "riff-beyond-file", error, -1, 1, 4, nullptr},
    {"spliced-truncated.avi", "last-chunk-cut", error, 0, 1, 13568, "riff-beyond-file"},
    {"spliced-truncated.avi", "index-missing", warning, -1, 1, 10058, "riff-beyond-file"},
    {"spliced-truncated.avi", "frame-count", error, 0, 1, 48, "riff-beyond-file"},
    {"spliced-truncated.avi", "index-flag-without-index", error, -1, 1, 44, "riff-beyond-file"},
    {"spliced-truncated.avi", "stream-length", error, 0, 1, 140, "riff-beyond-file"},
    {"spliced-truncated.avi", "stream-length", error, 1, 1, 4468, "riff-beyond-file"},
    {"spliced-truncated.avi", "empty-frames", note, 0, 1, 12286, nullptr},

    // The film of ffmpeg-mpeg4-mp3vbr-info-utf8.avi, with its empty frame.
    {"spliced-txts-rec-lists.avi", "empty-frames", note, 0, 1, 2862, nullptr},

    // No entry of idx1 has a flag, although each picture of Motion JPEG stands alone, and offsets count from the start
    // of the file. avih states no buffer size.
    {"yuv2lav-mjpeg.avi", "buffer-unset", note, -1, 1, 60, nullptr},
    {"yuv2lav-mjpeg.avi", "idx1-base", note, -1, 1, 48750, nullptr},
    {"yuv2lav-mjpeg.avi", "idx1-no-key-frame", warning, 0, 1, 48746, nullptr},
};

const QString directory = QStringLiteral(QUENLOFAR_SAMPLES_DIR "/golden/");

QString line(const QString &rule, Severity severity, int stream, quint64 count, quint64 offset, const QString &cause)
{
    return QStringLiteral("%1 %2 #%3 x%4 at %5 < %6")
        .arg(severityName(severity).toString(), rule)
        .arg(stream)
        .arg(count)
        .arg(offset)
        .arg(cause);
}

} // namespace

class TestGoldenFindings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findings_data()
    {
        QTest::addColumn<QStringList>("expected");
        const QStringList files = QDir(directory).entryList({QStringLiteral("*.avi")});
        QVERIFY(!files.isEmpty());
        int used = 0;
        for (const QString &file : files) {
            QStringList expected;
            for (const Row &row : rows) {
                if (file == QLatin1String(row.file))
                    expected.append(line(QString::fromLatin1(row.rule), row.severity, row.stream, row.count, row.offset,
                                         QString::fromLatin1(row.cause)));
            }
            used += int(expected.size());
            QTest::newRow(qPrintable(file)) << expected;
        }
        QCOMPARE(used, int(std::size(rows)));
    }

    void findings()
    {
        QFETCH(QStringList, expected);
        QFile file(directory + QString::fromUtf8(QTest::currentDataTag()));
        QVERIFY(file.open(QIODevice::ReadOnly));
        CheckOptions options;
        options.level = Level::Deep;
        const film::Verdict verdict(file.readAll(), options);
        QVERIFY(verdict.isComplete);
        QCOMPARE(verdict.problem(), QString());
        QStringList actual;
        for (const Finding &finding : verdict.findings()) {
            const QString cause =
                finding.causedBy == 0 ? QString() : verdict.findings()[size_t(finding.causedBy) - 1].rule;
            actual.append(line(finding.rule, finding.severity, finding.stream, finding.count,
                               finding.places.front().offset, cause));
        }
        QCOMPARE(actual, expected);
    }
};

QTEST_APPLESS_MAIN(TestGoldenFindings)
#include "tst_goldenfindings.moc"
