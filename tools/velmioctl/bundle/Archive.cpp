#include <velmioctl/bundle/Archive.h>

#include <velmioctl/cli/ExitCode.h>

#include <archive.h>
#include <archive_entry.h>

#include <ctime>
#include <memory>

using namespace Qt::StringLiterals;

namespace velmioctl::bundle {

namespace {

struct WriterDeleter
{
    void operator()(archive* writer) const noexcept { archive_write_free(writer); }
};
struct EntryDeleter
{
    void operator()(archive_entry* entry) const noexcept { archive_entry_free(entry); }
};

la_ssize_t append(archive*, void* bytes, const void* piece, size_t size)
{
    static_cast<QByteArray*>(bytes)->append(
        static_cast<const char*>(piece), static_cast<qsizetype>(size));
    return static_cast<la_ssize_t>(size);
}

void require(int result, archive* writer)
{
    if (result == ARCHIVE_OK)
        return;
    throw CommandError(
        ExitCode::OtherError, u"The archive cannot be created: %1."_s.arg(
                                  QString::fromUtf8(archive_error_string(writer))));
}

void add(archive* writer, const QByteArray& name, const QByteArray& content)
{
    const std::unique_ptr<archive_entry, EntryDeleter> entry(archive_entry_new());
    archive_entry_set_pathname(entry.get(), name.constData());
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_perm(entry.get(), 0600);
    archive_entry_set_size(entry.get(), content.size());
    archive_entry_set_mtime(entry.get(), std::time(nullptr), 0);
    require(archive_write_header(writer, entry.get()), writer);
    const auto written =
        archive_write_data(writer, content.constData(), static_cast<size_t>(content.size()));
    require(written == content.size() ? ARCHIVE_OK : ARCHIVE_FATAL, writer);
}

} // namespace

QByteArray toTarGz(const QByteArray& folder, const std::vector<Entry>& entries)
{
    QByteArray bytes;
    const std::unique_ptr<archive, WriterDeleter> writer(archive_write_new());
    require(archive_write_add_filter_gzip(writer.get()), writer.get());
    require(archive_write_set_format_ustar(writer.get()), writer.get());
    require(archive_write_open(writer.get(), &bytes, nullptr, append, nullptr), writer.get());
    for (const Entry& entry : entries)
        add(writer.get(), folder + '/' + entry.name, entry.content);
    require(archive_write_close(writer.get()), writer.get());
    return bytes;
}

} // namespace velmioctl::bundle
