// PDF cue sheets as users drop them on the table: the information dictionary,
// the strings drawn on every page and, for EdiCue sheets, the document's
// text, then every row builder on what was read. The readers take a path, so each
// input is written to one scratch file first.
#include "FuzzSupport.h"

#include "cues/CueListImporter.h"
#include "cues/CueSheet.h"
#include "cues/PdfCueReader.h"

#include <QByteArray>
#include <QFile>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace {

class ScratchFile {
public:
    ScratchFile() {
        const char* dir = std::getenv("TMPDIR");
        m_path = QByteArray(dir && *dir ? dir : "/tmp") + "/qz62-fuzz-pdf-XXXXXX";
        m_fd = mkstemp(m_path.data());
        if (m_fd < 0) {
            std::perror("mkstemp");
            std::abort();
        }
    }
    ~ScratchFile() {
        close(m_fd);
        unlink(m_path.constData());
    }
    QString write(const std::uint8_t* data, std::size_t size) {
        if (ftruncate(m_fd, 0) != 0 || pwrite(m_fd, data, size, 0) != ssize_t(size)) {
            std::perror("scratch file");
            std::abort();
        }
        return QFile::decodeName(m_path);
    }

private:
    QByteArray m_path;
    int m_fd = -1;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    static ScratchFile scratch;
    const QString path = scratch.write(data, size);

    PdfCueReader reader;
    qsizetype logged = 0;
    reader.setLogSink([&logged](const QByteArray& text) { logged += text.size(); });
    CueSheet sheet;
    CueListImporter importer(sheet);
    reader.importPdf(path, importer);

    const QList<PDFStringTableItem> items = reader.scanPages(path);
    importer.filmlightToCueTable(items);
    PdfCueReader::pdfTextToCueTable(items, importer);
    sheet.OnSort();
    return 0;
}
