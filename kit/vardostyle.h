#pragma once

class QApplication;

/// Gives the program its own style and light palette, whatever the desktop's are.
/// To be called once the application object exists: the command line and the environment beat an earlier
/// choice.
void applyVardoStyle(QApplication& application);
