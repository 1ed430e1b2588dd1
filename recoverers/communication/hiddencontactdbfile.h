#pragma once

#include "engine/sqlitedbfile.h"

/// Finds persons that the address book's search index still lists although the address book itself
/// does not. Reads live rows only: the index keeps a copy of every field of a person.
class HiddenContactDbFile : public SqliteDbFile
{
    Q_OBJECT
public:
    explicit HiddenContactDbFile(QObject *parent = nullptr);
    ~HiddenContactDbFile() override;

    using SqliteDbFile::setProgress;
    /// Borrows the progress object, of whose span this pass may use `span`.
    void setProgress(ScanProgress *newProgress, double span);

    int scanDeletedRecords(SqliteRecovery *resultHolder) override;

private:
    double m_span = 0;
};
