#pragma once

/// Names a kind of database. The numbers are a fixed part of the interface and are what the scan
/// operations take; 9 is unassigned.
enum ScanType : int {
    ScanTypeContacts = 0,      ///< address book: contacts and hidden contacts
    ScanTypeMessages = 1,      ///< text messages: message groups
    ScanTypeCallHistory = 2,   ///< call history: calls
    ScanTypeCalendar = 3,      ///< calendar: events and reminders
    ScanTypeNotes = 4,         ///< notes up to iOS 8
    ScanTypeBookmarks = 5,     ///< Safari bookmarks
    ScanTypeWhatsapp = 6,      ///< WhatsApp chats
    ScanTypeSafariHistory = 7, ///< Safari history
    ScanTypeIos9Notes = 8,     ///< notes since iOS 9
    ScanTypeWeChat = 10,       ///< WeChat chats
};
