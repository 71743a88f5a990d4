#include "kit/visibletext.h"

QString visibleCharacter(const QString& character)
{
    const char16_t code = character.at(0).unicode();
    if (code < 0x20 && code != '\t')
        return QChar(0x2400 + code);
    if (code == 0x7F)
        return QChar(0x2421);
    const bool harmful = (code >= 0x80 && code < 0xA0) || (code >= 0x2028 && code <= 0x202E) ||
                         (code >= 0x2066 && code <= 0x2069);
    return harmful ? QString(QChar(QChar::ReplacementCharacter)) : character;
}

QString visibleText(const QString& text)
{
    QString shown;
    // All that is replaced lies in the basic plane, so the halves of a pair stand for themselves.
    for (const QChar unit : text)
        shown += visibleCharacter(unit);
    return shown;
}
