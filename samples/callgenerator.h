#pragma once

#include "samples/calllayout.h"
#include "samples/samplerandom.h"

/// Makes up calls as they stand on a device of the layout's time. Equal seeds give equal calls.
class CallGenerator
{
public:
    /// `maxGap` is the longest time in seconds from one call to the next.
    CallGenerator(CallLayout layout, quint32 seed, int maxGap = 20000);

    /// The next call; its date is later than that of the one before.
    SampleCall next();

private:
    QString uniqueId();
    double duration();
    void addParty(SampleCall *call);
    void addCourse(SampleCall *call);
    void addNetwork(SampleCall *call);

    CallLayout m_layout;
    SampleRandom m_random;
    int m_maxGap;
    qint64 m_date;
};
