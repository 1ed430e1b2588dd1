#include "api/recovererfactory_p.h"

#include "api/scantype.h"
#include "recoverers/calendar_notes_safari/bookmarkdbfile.h"
#include "recoverers/calendar_notes_safari/bookmarkhistorydbfile.h"
#include "recoverers/calendar_notes_safari/calendardbfile.h"
#include "recoverers/calendar_notes_safari/ios9notedbfile.h"
#include "recoverers/calendar_notes_safari/notedbfile.h"
#include "recoverers/communication/callhistorydbfile.h"
#include "recoverers/communication/contactdbfile.h"
#include "recoverers/communication/smsdbfile.h"
#include "recoverers/messaging/weixindbfile.h"
#include "recoverers/messaging/whatsappdbfile.h"

std::unique_ptr<SqliteDbFile> makeRecoverer(int type)
{
    switch (type) {
    case ScanTypeContacts:
        return std::make_unique<ContactDbFile>();
    case ScanTypeMessages:
        return std::make_unique<SMSDbFile>();
    case ScanTypeCallHistory:
        return std::make_unique<CallHistoryDbFile>();
    case ScanTypeCalendar:
        return std::make_unique<CalendarDbFile>();
    case ScanTypeNotes:
        return std::make_unique<NoteDbFile>();
    case ScanTypeIos9Notes:
        return std::make_unique<Ios9NoteDbFile>();
    case ScanTypeBookmarks:
        return std::make_unique<BookmarkDbFile>();
    case ScanTypeSafariHistory:
        return std::make_unique<BookmarkHistoryDbFile>();
    case ScanTypeWeChat:
        return std::make_unique<weixinDBFile>();
    case ScanTypeWhatsapp:
        return std::make_unique<WhatsappDbFile>();
    default:
        return nullptr;
    }
}
