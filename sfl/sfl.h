#pragma once

/// Symbol tables, ini files and the text functions that go with them: everything of sfl.
#include "sfl/inifile.h"
#include "sfl/inisyntax.h"
#include "sfl/symtable.h"
#include "sfl/text.h"
