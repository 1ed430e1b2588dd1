#include "api/personrecord.h"

namespace {

const QLatin1String LabelStart("_$!<");
const QLatin1String LabelEnd(">!$_");

} // namespace

PersonValueKind personValueKind(qint64 property)
{
    switch (property) {
    case 3:
        return PersonValueKind::Phone;
    case 4:
        return PersonValueKind::Email;
    case 5:
        return PersonValueKind::Address;
    case 12:
        return PersonValueKind::Date;
    case 13:
        return PersonValueKind::InstantMessage;
    case 22:
        return PersonValueKind::Url;
    case 23:
        return PersonValueKind::RelatedName;
    case 46:
        return PersonValueKind::SocialProfile;
    default:
        return PersonValueKind::Unknown;
    }
}

QString readableLabel(const QString &label)
{
    const int nameSize = label.size() - LabelStart.size() - LabelEnd.size();
    if (nameSize <= 0 || !label.startsWith(LabelStart) || !label.endsWith(LabelEnd)) {
        return label;
    }
    return label.mid(LabelStart.size(), nameSize);
}
