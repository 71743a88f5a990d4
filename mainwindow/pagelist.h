#pragma once

#include <cstddef>

/// The pages of the main window as one base class of it, so that a page's widgets are fields of the window.
///
/// A page has `name`, which is the object name of its widget in the stack, its `title`, and three functions:
/// buildOn(QWidget*) fills that widget, languageChange() sets all fixed texts, and connectTo(VMainWidget*)
/// connects the page's widgets with the window's slots. The order is that of the stack.
template <class... Pages>
struct PageList : Pages...
{
    static constexpr std::size_t pageCount = sizeof...(Pages);
    static constexpr const char* pageTitles[] = {Pages::title...};

    /// Hands one page after the other to `action`.
    template <class Action>
    void forEachPage(Action action)
    {
        (action(static_cast<Pages&>(*this)), ...);
    }
};
