#pragma once

#include <QList>

// What the facades do with their result arrays.

template<typename Array>
auto elementOrNull(Array &array, unsigned index) -> const typename Array::value_type *
{
    return index < unsigned(array.size()) ? &array[int(index)] : nullptr;
}

template<typename Record> const Record *pointerOrNull(const QList<Record *> &array, unsigned index)
{
    return index < unsigned(array.size()) ? array[int(index)] : nullptr;
}

template<typename Record> void releaseAll(QList<Record *> &array)
{
    qDeleteAll(array);
    array = QList<Record *>();
}
