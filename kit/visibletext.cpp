#include "kit/visibletext.h"

#include <algorithm>
#include <iterator>

namespace {

/// First and last of those that cannot be seen but end a line, turn text round or make two names look alike.
/// Joiners are none of them: some languages are written with those.
constexpr char16_t harmful[][2] = {{0x80, 0x9F},     {0xAD, 0xAD},     {0x61C, 0x61C},   {0x200B, 0x200B},
                                   {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F}, {0xFEFF, 0xFEFF}};

bool isHarmful(char16_t code)
{
    return std::any_of(std::begin(harmful), std::end(harmful),
                       [code](const auto& range) { return code >= range[0] && code <= range[1]; });
}

} // namespace

QString visibleCharacter(const QString& character)
{
    const char16_t code = character.at(0).unicode();
    if (code < 0x20 && code != '\t')
        return QChar(0x2400 + code);
    if (code == 0x7F)
        return QChar(0x2421);
    return isHarmful(code) ? QString(QChar(QChar::ReplacementCharacter)) : character;
}

QString visibleText(const QString& text)
{
    QString shown;
    // All that is replaced lies in the basic plane, so the halves of a pair stand for themselves.
    for (const QChar unit : text)
        shown += visibleCharacter(unit);
    return shown;
}

QByteArray oneLine(QByteArray bytes)
{
    bytes.replace('\n', "\u240A");
    bytes.replace('\r', "\u240D");
    return bytes;
}

QString literalToolTip(QString name)
{
    if (name.isEmpty())
        return name;
    constexpr qsizetype unbroken = 40;
    constexpr QChar mayBreak(0x200B);
    for (qsizetype end = name.size() - unbroken; end > 0; end -= unbroken)
        name.insert(name.at(end).isLowSurrogate() ? end - 1 : end, mayBreak);
    return QStringLiteral("<p style=\"white-space:pre-wrap\">") + name.toHtmlEscaped() +
           QStringLiteral("</p>");
}
