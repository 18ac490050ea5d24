#include <velmioctl/exchange/ExportWriter.h>

namespace velmioctl::exchange {

namespace {

QByteArray toJson(const SecretParameters& secrets)
{
    return "{\n    \"check\": \"" + secrets.check.toBase64() +
           "\",\n    \"cipher\": \"xchacha20poly1305-ietf\""
           ",\n    \"keyDerivation\": \"argon2id13\",\n    \"memoryBytes\": " +
           QByteArray::number(secrets.memoryBytes) +
           ",\n    \"operations\": " + QByteArray::number(secrets.operations) +
           ",\n    \"salt\": \"" + secrets.salt.toBase64() + "\"\n  }";
}

} // namespace

ExportWriter::ExportWriter(Sink sink, std::optional<ExportSeal> seal)
    : sink(std::move(sink))
    , seal(std::move(seal))
{
}

void ExportWriter::begin(const ExportHeader& header)
{
    put(QByteArray("{\n  \"format\": \"") + FormatName +
        "\",\n  \"formatVersion\": " + QByteArray::number(header.formatVersion) +
        ",\n  \"schemaVersion\": " + QByteArray::number(header.schemaVersion) +
        ",\n  \"secrets\": " + (header.secrets ? toJson(*header.secrets) : "null") +
        ",\n  \"tables\": {");
}

void ExportWriter::beginTable(const TableShape& begun, qint64 lastId)
{
    table = &begun;
    anyRow = false;
    put((anyTable ? ",\n    \"" : "\n    \"") + table->name +
        "\": {\n      \"lastId\": " + QByteArray::number(lastId) + ",\n      \"rows\": [");
    anyTable = true;
}

void ExportWriter::write(const Row& row)
{
    QByteArray text = anyRow ? ",\n        {" : "\n        {";
    anyRow = true;
    const char* before = "\n          \"";
    for (size_t at = 0; at < row.values.size(); ++at) {
        if (std::holds_alternative<LeftOut>(row.values[at]))
            continue;
        text += before + table->columns[at].name + "\": " + toJson(row.values[at]);
        before = ",\n          \"";
    }
    put(text + "\n        }");
}

void ExportWriter::endTable()
{
    put(anyRow ? "\n      ]\n    }" : "]\n    }");
}

void ExportWriter::end()
{
    put(anyTable ? "\n  }" : "}");
    sink(seal ? seal->end() : "\n}\n");
}

void ExportWriter::put(const QByteArray& text)
{
    if (seal)
        seal->add(text);
    sink(text);
}

} // namespace velmioctl::exchange
