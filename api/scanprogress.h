#pragma once

/// What a caller implements to follow a scan and to stop it.
///
/// The library only borrows the object for the time of one scan call, calls it on the thread that
/// called the scan, and never deletes it; that is why the destructor is neither virtual nor public.
/// The order of the three operations is part of the binary interface.
class ScanProgress
{
public:
    /// Returns the span of progress that belongs to the database being scanned, in any unit that
    /// the caller likes (100 for percent). The scan divides it by its number of work items.
    virtual double progressValue() = 0;

    /// Called after every work item with the part of the span that it was worth (0 or more; 0 only
    /// asks). The steps of one search of a table add up to about the span. A scan takes the span
    /// once for every search: once for each table of calls, up to four times for contacts and three
    /// times for messages. A comparison of the versions in a log divides the span by its commits
    /// and tables, and reports that part for every row compared: its steps can exceed the span.
    /// Returns true to go on, false to stop: the scan ends with the current page, and what was
    /// found until then stays in the results.
    virtual bool reportProgress(double step) = 0;

    /// Called exactly once at the end of every scan of one database, also when the kind was unknown
    /// or the file could not be opened.
    virtual void scanDone() = 0;

protected:
    ~ScanProgress() = default;
};
