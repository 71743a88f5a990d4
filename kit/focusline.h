#pragma once

class QAbstractButton;
class QPainter;
class QRect;

/// Draws the fine dotted line that shows where the keyboard is, along the inside of `rect`: only while it is
/// on that button, and only once it has been used to get about in the window.
void drawFocusLine(QPainter* painter, const QAbstractButton& button, const QRect& rect);
