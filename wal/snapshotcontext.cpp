#include "wal/snapshotcontext.h"

#include "engine/pageheader.h"
#include "wal/sqlitesnapshotreader.h"

#include <QFileInfo>

namespace {

constexpr quint32 SchemaRootPage = 1;
/// Few versions are looked at by turns. A log may change the schema with every commit.
constexpr int KeptSchemas = 8;

// How many times the bytes of the file and its log may be gone through. Every commit of a hostile
// log can bring back, by writing one page, what another one took away.
constexpr qint64 MostPayloadReads = 32; ///< as payloads on overflow pages
constexpr qint64 MostPageVisits = 16;   ///< as pages of tables that change
constexpr qint64 MostRowBytes = 8;      ///< as rows that went away or changed
constexpr qint64 MostSchemaReads = 16;
constexpr qint64 SmallestBudget = 1024 * 1024;

/// True when the first page of two versions holds the same part of the schema.
bool haveEqualFirstPages(DatabaseReader &earlier, DatabaseReader &later)
{
    return earlier.readPage(SchemaRootPage).mid(DatabaseHeaderSize)
           == later.readPage(SchemaRootPage).mid(DatabaseHeaderSize);
}

} // namespace

SnapshotContext::SnapshotContext(const QString &dbPath, const QString &walPath)
    : m_dbPath(dbPath)
    , m_dbFile(dbPath)
    , m_wal(walPath)
    , m_schemas(KeptSchemas)
{
}

SnapshotContext::~SnapshotContext() = default;

bool SnapshotContext::load()
{
    if (!m_wal.load() || m_wal.transactionCount() == 0 || !QFileInfo(m_dbPath).isFile()
        || !m_dbFile.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return false;
    }
    m_database = std::make_unique<DatabaseReader>(&m_dbFile);
    setBudgets();
    return m_database->readHeader();
}

void SnapshotContext::setBudgets()
{
    const qint64 size = m_dbFile.size() + m_wal.file().size();
    const auto budget = [size](qint64 times) { return WorkBudget(SmallestBudget + times * size); };
    m_payloadBudget = budget(MostPayloadReads);
    m_pageBudget = budget(MostPageVisits);
    m_rowBudget = budget(MostRowBytes);
    m_schemaBudget = budget(MostSchemaReads);
    m_database->setPayloadBudget(&m_payloadBudget);
}

DatabaseReader *SnapshotContext::snapshotAt(int commitIndex)
{
    const auto cached = m_snapshots.find(commitIndex);
    if (cached != m_snapshots.end()) {
        return cached->second.reader.get();
    }
    Snapshot snapshot;
    snapshot.device =
        std::make_unique<SqliteSnapshotReader>(&m_dbFile, &m_wal, quint32(commitIndex));
    if (!snapshot.device->open(QIODevice::ReadOnly)) {
        return nullptr;
    }
    snapshot.reader = std::make_unique<DatabaseReader>(snapshot.device.get());
    snapshot.reader->setPayloadBudget(&m_payloadBudget);
    if (!snapshot.reader->readHeader()) {
        return nullptr;
    }
    return m_snapshots.emplace(commitIndex, std::move(snapshot)).first->second.reader.get();
}

/// Returns the reader of a version that can be compared with others; null when it cannot.
DatabaseReader *SnapshotContext::readerOf(int commitIndex)
{
    const bool isFile = commitIndex == DatabaseFileVersion;
    if (!isFile && !m_wal.isWhole(commitIndex)) {
        return nullptr;
    }
    DatabaseReader *reader = isFile ? m_database.get() : snapshotAt(commitIndex);
    return reader && quint32(reader->headerInfo().pageSize) == m_wal.pageSize() ? reader : nullptr;
}

TableVersion SnapshotContext::table(const QString &name, int commitIndex)
{
    const Schema *schema = schemaOf(commitIndex);
    if (schema) {
        const QString wanted = name.toLower();
        for (const TableSchema &table : *schema) {
            // Virtual tables have no pages.
            if (table.name == wanted && table.rootPage > 0) {
                return TableVersion(this, readerOf(commitIndex), table, commitIndex);
            }
        }
    }
    return TableVersion();
}

int SnapshotContext::lastWholeCommit() const
{
    const int last = m_wal.transactionCount() - 1;
    return m_wal.isWhole(last) ? last : last - 1;
}

/// Returns the tables of a version; null when they cannot be read. Valid until the next call.
const SnapshotContext::Schema *SnapshotContext::schemaOf(int commitIndex)
{
    if (!readerOf(commitIndex)) {
        return nullptr;
    }
    while (m_schemaSince.size() <= commitIndex + 1) {
        const int next = m_schemaSince.size() - 1;
        m_schemaSince.append(followSchema(next) ? next : m_schemaSince.last());
    }
    const int since = m_schemaSince.at(commitIndex + 1);
    if (!m_schemas.contains(since)) {
        auto schema = std::make_unique<Schema>();
        const bool isOfLast = since == m_schemaSince.last(); // with which all others are compared
        if ((!spendOnSchema(since) && !isOfLast) || !readSchema(since, schema.get())) {
            schema->clear();
        }
        m_schemas.insert(since, schema.release());
    }
    return m_schemas.object(since);
}

bool SnapshotContext::spendOnSchema(int commitIndex)
{
    const int pages = readerOf(commitIndex)->collectLeafPages(SchemaRootPage).size();
    return m_schemaBudget.spend(pages * qint64(m_wal.pageSize()));
}

bool SnapshotContext::readSchema(int commitIndex, Schema *schema)
{
    // A reader of its own: those that are kept for every commit hold no schema.
    DatabaseReader reader(deviceOf(commitIndex));
    if (!reader.open()) {
        return false;
    }
    const QVector<const TableSchema *> tables = reader.tablesWithPrefix(QString());
    for (const TableSchema *table : tables) {
        schema->append(*table);
    }
    return true;
}

/// Follows the pages of the schema into the version. Returns true when it differs from the one
/// before.
bool SnapshotContext::followSchema(int commitIndex)
{
    DatabaseReader *version = m_isSchemaSpent ? nullptr : readerOf(commitIndex);
    if (!version) {
        m_schemaPages.clear(); // read as a whole from the next version on
        return true;
    }
    const QVector<quint32> written = m_wal.pagesOf(commitIndex);
    if (!m_schemaPages.isEmpty()
        && (!m_schemaPages.containsAny(written) || wroteHeaderOnly(commitIndex, written))) {
        return false;
    }
    const int visited = m_schemaPages.update(*version, SchemaRootPage, written).visited;
    m_isSchemaSpent = !m_schemaBudget.spend(visited * qint64(m_wal.pageSize()));
    return true;
}

/// Many commits write page 1, and most of them change nothing but the database header there.
bool SnapshotContext::wroteHeaderOnly(int commitIndex, const QVector<quint32> &written)
{
    DatabaseReader *earlier = readerOf(commitIndex - 1);
    return earlier && written.first() == SchemaRootPage
           && !m_schemaPages.containsAny(written.mid(1))
           && haveEqualFirstPages(*earlier, *readerOf(commitIndex));
}

QIODevice *SnapshotContext::deviceOf(int commitIndex)
{
    const auto snapshot = m_snapshots.find(commitIndex);
    return commitIndex == DatabaseFileVersion ? static_cast<QIODevice *>(&m_dbFile)
                                              : snapshot->second.device.get();
}
