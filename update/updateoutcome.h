#pragma once

#include "kit/texts.h"

class QWidget;

/// Tells the user in a box on `parent` how an update ended; `result` is that of VUpdateDialog.
void showUpdateOutcome(QWidget* parent, int result, Translate tr);
