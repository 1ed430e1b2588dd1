#include "samples/contactsamples.h"

#include "samples/contactgenerator.h"
#include "samples/contactwriter.h"
#include "samples/sampledatabase.h"

namespace {

/// Lives one plan through in the database, keeping the truth up to date.
class ContactPlanRunner
{
public:
    ContactPlanRunner(SampleDatabase *db, const ContactPlan &plan, ContactSample *sample)
        : m_writer(db, plan.layout)
        , m_plan(plan)
        , m_sample(sample)
        , m_generator(plan.layout, plan.seed)
        , m_random(plan.seed ^ 0x5eed)
    {
    }

    bool run();

private:
    bool runPlan();
    bool insert(int count);
    bool removeAt(int index);
    bool removeFullTextOf(const SamplePerson &person);
    bool removeScattered(int percent);
    bool removeRange();
    bool removeAll();
    bool removeValues(int percent);
    bool removeValueOf(SamplePerson *person);
    bool edit(int percent);

    ContactWriter m_writer;
    ContactPlan m_plan;
    ContactSample *m_sample;
    ContactGenerator m_generator;
    SampleRandom m_random;
    QVector<SamplePerson> m_live;
};

bool ContactPlanRunner::run()
{
    if (!runPlan()) {
        return false;
    }
    for (const SamplePerson &person : qAsConst(m_live)) {
        m_sample->live << expectedPerson(person);
    }
    for (const SamplePerson &person : qAsConst(m_sample->deletedRows)) {
        m_sample->deleted << expectedPerson(person);
    }
    for (const SamplePerson &person : qAsConst(m_sample->deletedValueRows)) {
        m_sample->deletedValues << expectedPerson(person);
    }
    return true;
}

bool ContactPlanRunner::runPlan()
{
    if (!insert(m_plan.persons)) {
        return false;
    }
    switch (m_plan.deletion) {
    case ContactDeletion::Scattered:
        return removeScattered(30);
    case ContactDeletion::Contiguous:
        return removeRange();
    case ContactDeletion::WholeBook:
        return removeAll();
    case ContactDeletion::SingleValues:
        return removeValues(35);
    case ContactDeletion::Edited:
        return edit(30) && removeScattered(20);
    case ContactDeletion::ThenInserts:
        return removeScattered(30) && insert(m_plan.persons / 12);
    }
    return false;
}

bool ContactPlanRunner::insert(int count)
{
    for (int i = 0; i < count; ++i) {
        SamplePerson person = m_generator.next();
        if (!m_writer.insert(&person)) {
            return false;
        }
        m_live << person;
    }
    return true;
}

bool ContactPlanRunner::removeAt(int index)
{
    const SamplePerson person = m_live.takeAt(index);
    m_sample->deletedRows << person;
    return m_writer.begin() && m_writer.remove(person, m_random.chance(70))
           && removeFullTextOf(person) && m_writer.commit();
}

/// Now and then a device forgets to take a person out of the search index.
bool ContactPlanRunner::removeFullTextOf(const SamplePerson &person)
{
    if (hasFullText(m_plan.layout) && m_random.chance(20)) {
        m_sample->hidden << expectedHiddenPerson(person);
        return true;
    }
    return m_writer.removeFullText(person.fields.rowId);
}

bool ContactPlanRunner::removeScattered(int percent)
{
    for (int left = m_live.size() * percent / 100; left > 0; --left) {
        if (!removeAt(m_random.number(0, m_live.size()))) {
            return false;
        }
    }
    return true;
}

bool ContactPlanRunner::removeRange()
{
    const int first = m_live.size() / 3;
    for (int left = m_live.size() / 3; left > 0; --left) {
        if (!removeAt(first)) {
            return false;
        }
    }
    return true;
}

bool ContactPlanRunner::removeAll()
{
    m_sample->deletedRows << m_live;
    m_live.clear();
    if (!m_writer.begin() || !m_writer.removeEverything()) {
        return false;
    }
    for (const SamplePerson &person : qAsConst(m_sample->deletedRows)) {
        if (!removeFullTextOf(person)) {
            return false;
        }
    }
    return m_writer.commit();
}

bool ContactPlanRunner::removeValues(int percent)
{
    for (SamplePerson &person : m_live) {
        if (!person.values.isEmpty() && m_random.chance(percent) && !removeValueOf(&person)) {
            return false;
        }
    }
    return true;
}

bool ContactPlanRunner::removeValueOf(SamplePerson *person)
{
    const SampleValue value = person->values.takeAt(m_random.number(0, person->values.size()));
    person->fields.modificationDate = m_generator.nextDate();
    SamplePerson remains = *person;
    remains.values = {value};
    m_sample->deletedValueRows << remains;
    return m_writer.begin() && m_writer.removeValue(person->fields.rowId, value)
           && m_writer.commit() && m_writer.update(*person);
}

bool ContactPlanRunner::edit(int percent)
{
    for (SamplePerson &person : m_live) {
        if (!m_random.chance(percent)) {
            continue;
        }
        m_sample->formerVersions << person.fields;
        m_generator.edit(&person.fields);
        if (!m_writer.update(person)) {
            return false;
        }
    }
    return true;
}

} // namespace

QVector<ContactDeletion> allContactDeletions()
{
    return {ContactDeletion::Scattered, ContactDeletion::Contiguous,
            ContactDeletion::WholeBook, ContactDeletion::SingleValues,
            ContactDeletion::Edited,    ContactDeletion::ThenInserts};
}

QString deletionName(ContactDeletion deletion)
{
    static const char *const names[] = {"scattered",     "contiguous", "whole book",
                                        "single values", "edited",     "then inserts"};
    return QString::fromLatin1(names[int(deletion)]);
}

bool makeContactSample(SampleDatabase *db, const ContactPlan &plan, ContactSample *sample)
{
    *sample = ContactSample();
    sample->layout = plan.layout;
    return ContactWriter(db, plan.layout).createTables()
           && ContactPlanRunner(db, plan, sample).run();
}
