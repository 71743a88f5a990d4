#include "scan/namebytes.h"

QByteArray oneLine(QByteArray bytes)
{
    bytes.replace('\n', "\u240A");
    bytes.replace('\r', "\u240D");
    return bytes;
}
