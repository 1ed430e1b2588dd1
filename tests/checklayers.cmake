# Fails when a file includes a header of a layer that it may not know:
#   cli -> api -> wal -> recoverers -> engine -> Qt Core
# Record headers, scanprogress.h and scantype.h are leaves that anyone may include. No header outside
# api/ includes a facade, and only recoverers/livequery.cpp includes the SQLite library.

set(leaves "api/([a-z]+record|weichatchat|scanprogress|scantype|sqliterecovery_global)\\.h")
set(slips "")

function(check_layer layer forbidden)
    file(GLOB_RECURSE files "${SOURCE_DIR}/${layer}/*.h" "${SOURCE_DIR}/${layer}/*.cpp")
    if(NOT files)
        message(FATAL_ERROR "no source files in ${layer}")
    endif()
    foreach(file IN LISTS files)
        file(STRINGS "${file}" includes REGEX "^#include")
        foreach(line IN LISTS includes)
            if(line MATCHES "${forbidden}" AND NOT line MATCHES "\"${leaves}\"")
                string(APPEND slips "${file}: ${line}\n")
            endif()
        endforeach()
    endforeach()
    set(slips "${slips}" PARENT_SCOPE)
endfunction()

check_layer(engine "\"(api|recoverers|wal|cli)/|<sqlite3")
check_layer(recoverers "\"(wal|cli)/")
check_layer(wal "\"cli/|<sqlite3")
check_layer(api "\"(cli)/|<sqlite3")
check_layer(cli "\"(recoverers|wal|engine)/|<sqlite3")

file(GLOB_RECURSE headers "${SOURCE_DIR}/engine/*.h" "${SOURCE_DIR}/recoverers/*.h"
    "${SOURCE_DIR}/wal/*.h")
foreach(header IN LISTS headers)
    file(STRINGS "${header}" facades REGEX "^#include \"api/(sqliterecovery|walrecovery)\\.h\"")
    if(facades)
        string(APPEND slips "${header}: ${facades}\n")
    endif()
endforeach()

file(GLOB_RECURSE sources "${SOURCE_DIR}/recoverers/*.h" "${SOURCE_DIR}/recoverers/*.cpp")
foreach(source IN LISTS sources)
    file(STRINGS "${source}" sqlite REGEX "^#include <sqlite3")
    if(sqlite AND NOT source MATCHES "recoverers/livequery\\.cpp$")
        string(APPEND slips "${source}: ${sqlite}\n")
    endif()
endforeach()

if(slips)
    message(FATAL_ERROR "includes across the layers:\n${slips}")
endif()
