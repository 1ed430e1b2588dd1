# Parsing Qt takes longer than compiling most sources of this tree: it is done once a target.
option(SQLITERECOVERY_PRECOMPILE "Precompile the headers of Qt and of the standard library" ON)

set(SQLITERECOVERY_COMMON_HEADERS
    <QByteArray> <QCborArray> <QCborMap> <QDataStream> <QFile> <QHash> <QIODevice> <QList> <QMap>
    <QObject> <QSet> <QString> <QStringList> <QVector>
    <algorithm> <array> <functional> <memory> <vector>)

# Further arguments are more headers that the target includes almost everywhere.
function(sqliterecovery_precompile target)
    if(SQLITERECOVERY_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE ${SQLITERECOVERY_COMMON_HEADERS} ${ARGN})
    endif()
endfunction()
