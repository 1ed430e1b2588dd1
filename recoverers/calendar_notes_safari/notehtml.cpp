#include "recoverers/calendar_notes_safari/notehtml.h"

#include <QStringList>
#include <QTextDocument>
#include <QVariant>
#include <QVector>

namespace {

/// A document that reads no files: the HTML of a carved note may name any.
class ClosedDocument : public QTextDocument
{
public:
    QVariant loadResource(int, const QUrl &) override { return QVariant(); }
};

/// Elements that end by themselves where the next one begins.
bool isLineElement(const QString &name)
{
    static const QStringList names{
        QStringLiteral("br"), QStringLiteral("hr"), QStringLiteral("p"),
        QStringLiteral("li"), QStringLiteral("dt"), QStringLiteral("dd"),
        QStringLiteral("tr"), QStringLiteral("td"), QStringLiteral("th"),
    };
    return names.contains(name);
}

/// Elements that may hold others like themselves. Headings count as divisions: their size would
/// need fonts.
QString nestingElement(const QString &name)
{
    static const QStringList names{
        QStringLiteral("div"),   QStringLiteral("ul"),  QStringLiteral("ol"),
        QStringLiteral("table"), QStringLiteral("pre"), QStringLiteral("blockquote"),
        QStringLiteral("dl"),
    };
    static const QStringList divisions{
        QStringLiteral("h1"),     QStringLiteral("h2"),      QStringLiteral("h3"),
        QStringLiteral("h4"),     QStringLiteral("h5"),      QStringLiteral("h6"),
        QStringLiteral("center"), QStringLiteral("address"),
    };
    return names.contains(name)       ? name
           : divisions.contains(name) ? QStringLiteral("div")
                                      : QString();
}

bool isHiddenElement(const QString &name)
{
    return name == QLatin1String("script") || name == QLatin1String("style")
           || name == QLatin1String("title");
}

/// Reduces HTML to the elements that matter for its plain text. Attributes go, but for the one that
/// keeps white space: a length in units of a font makes the document ask for fonts, which it can
/// have in a program with a display only. Deep nesting goes too, since the document needs time in
/// proportion to its square. HTML of more than `atOnce` characters is cut at the beginning of a
/// line into pieces, each of which is HTML of its own.
class HtmlReducer
{
public:
    HtmlReducer(const QString &html, int atOnce)
        : m_html(html)
        , m_atOnce(atOnce)
    {
    }

    QStringList reduced();

private:
    void addTag();
    void open(const QString &name, const QString &attributes);
    void close(const QString &name);
    void openNesting(const QString &name, const QString &attribute);
    void skipBehind(const QString &end);
    void skipHidden(const QString &name);
    void addLine(const QString &name);
    void addElement(const QString &name) { m_out += QLatin1Char('<') + name + QLatin1Char('>'); }

    static constexpr int MostNested = 40;

    const QString &m_html;
    const int m_atOnce;
    QStringList m_pieces;
    QString m_out;
    int m_pos = 0;
    QStringList m_open;     ///< nesting elements
    QStringList m_openTags; ///< the same as they were opened
    int m_ignored = 0;      ///< open elements that are nested too deep
};

QStringList HtmlReducer::reduced()
{
    while (m_pos < m_html.size()) {
        const int tag = m_html.indexOf(QLatin1Char('<'), m_pos);
        m_out += m_html.midRef(m_pos, tag < 0 ? -1 : tag - m_pos);
        m_pos = tag < 0 ? m_html.size() : tag + 1;
        if (tag >= 0) {
            addTag();
        }
    }
    return m_pieces << m_out;
}

/// Adds an element that begins a line, and a new piece with it where the last one is full. The
/// lines of a note are breaks that nothing encloses, where a cut changes nothing. Elsewhere an
/// empty line may come or go, and so it is cut there only when that does not happen for long.
void HtmlReducer::addLine(const QString &name)
{
    const bool isBetweenTexts =
        !m_out.endsWith(QLatin1Char('>')) && m_html.midRef(m_pos, 1) != QLatin1String("<");
    const bool isLineOfNote = name == QLatin1String("br") && m_open.isEmpty() && isBetweenTexts;
    if (m_out.size() < (isLineOfNote ? m_atOnce : 2 * m_atOnce)) {
        addElement(name);
        return;
    }
    m_pieces.append(m_out);
    m_out = m_openTags.join(QString());
    // Pieces are put together by line feeds, so that the break stands between them.
    if (name != QLatin1String("br")) {
        addElement(name);
    }
}

/// Reads what follows a '<'.
void HtmlReducer::addTag()
{
    if (m_html.midRef(m_pos, 3) == QLatin1String("!--")) {
        skipBehind(QStringLiteral("-->"));
        return;
    }
    const QChar first = m_pos < m_html.size() ? m_html[m_pos] : QChar();
    const bool isClosing = first == QLatin1Char('/');
    int end = m_pos + isClosing;
    while (end < m_html.size() && m_html[end].isLetterOrNumber()) {
        ++end;
    }
    const QString name = m_html.mid(m_pos + isClosing, end - m_pos - isClosing).toLower();
    const bool isOther = first == QLatin1Char('!') || first == QLatin1Char('?');
    if (!first.isLetter() && !isOther && !isClosing) {
        m_out += QLatin1String("&lt;"); // a sign in a sentence
        return;
    }
    m_pos = end;
    skipBehind(QStringLiteral(">"));
    const QString attributes = m_html.mid(end, m_pos - end);
    if (!isOther) {
        isClosing ? close(name) : open(name, attributes);
    }
}

void HtmlReducer::skipBehind(const QString &end)
{
    const int found = m_html.indexOf(end, m_pos);
    m_pos = found < 0 ? m_html.size() : found + end.size();
}

void HtmlReducer::skipHidden(const QString &name)
{
    const int found = m_html.indexOf(QLatin1String("</") + name, m_pos, Qt::CaseInsensitive);
    m_pos = found < 0 ? m_html.size() : found;
}

void HtmlReducer::open(const QString &name, const QString &attributes)
{
    const QString nesting = nestingElement(name);
    if (isLineElement(name)) {
        // Of what is nested too deep the lines are enough.
        addLine(m_ignored > 0 ? QStringLiteral("br") : name);
    } else if (isHiddenElement(name)) {
        skipHidden(name);
    } else if (!nesting.isEmpty()) {
        openNesting(nesting, QString());
    } else if (name == QLatin1String("img")) {
        m_out += QChar(QChar::ObjectReplacementCharacter); // as the document shows a picture
    } else if (name == QLatin1String("span")) {
        // Editors write tabs and runs of spaces so.
        const bool isKept = attributes.contains(QLatin1String("white-space:pre"))
                            || attributes.contains(QLatin1String("white-space: pre"));
        openNesting(name, isKept ? QStringLiteral(" style=\"white-space:pre\"") : QString());
    }
}

void HtmlReducer::openNesting(const QString &name, const QString &attribute)
{
    if (m_open.size() < MostNested) {
        const QString tag = name + attribute;
        name == QLatin1String("span") ? addElement(tag) : addLine(tag);
        m_open.append(name);
        m_openTags.append(QLatin1Char('<') + tag + QLatin1Char('>'));
        return;
    }
    ++m_ignored;
    if (name != QLatin1String("span")) {
        addLine(QStringLiteral("br"));
    }
}

void HtmlReducer::close(const QString &name)
{
    const QString nesting = name == QLatin1String("span") ? name : nestingElement(name);
    if (nesting.isEmpty()) {
        if (isLineElement(name) && m_ignored == 0) {
            addElement(QLatin1Char('/') + name);
        }
        return;
    }
    if (m_ignored > 0) {
        --m_ignored;
        return;
    }
    const int known = m_open.lastIndexOf(nesting);
    if (known >= 0) {
        m_open = m_open.mid(0, known);
        m_openTags = m_openTags.mid(0, known);
        addElement(QLatin1Char('/') + nesting);
    }
}

/// Divisions are lines of their own, and the last break of a line adds none.
QString withLineBreaks(const QString &html)
{
    const QLatin1String lineBreak("<br>");
    QStringList parts = html.split(QLatin1String("<div>"), Qt::SkipEmptyParts);
    for (QString &part : parts) {
        part.remove(QLatin1String("</div>"));
        if (part.endsWith(lineBreak)) {
            part.chop(lineBreak.size());
        }
    }
    return parts.join(lineBreak);
}

} // namespace

QString plainNoteText(const QString &html, int atOnce)
{
    const QString lines = withLineBreaks(html);
    const QStringList pieces = HtmlReducer(lines, atOnce).reduced();
    QStringList texts;
    for (const QString &piece : pieces) {
        ClosedDocument document;
        document.setUndoRedoEnabled(false);
        document.setHtml(piece);
        texts.append(document.toPlainText());
    }
    return texts.join(QLatin1Char('\n'));
}
