#pragma once

#include <array>

class QCheckBox;
class QWidget;
class VMainWidget;

/// What the engine hands out and takes as the value of an option, by the type of the option.
struct OptionValue
{
    unsigned char flag = 0;
    unsigned char byte = 0;
    unsigned int number = 0;
    std::array<char, 2048> text{}; ///< UTF-8, with its end
};

/// A control of a settings page together with the option of the engine that it stands for: what is needed to
/// load it, to save it and to hear of a change.
struct SettingRow
{
    enum Type : char { Flag, Byte, Number, Text };

    QWidget* control; ///< a check box, a spin box or a line edit
    unsigned int option;
    Type type;
    bool saved = true; ///< false: the option keeps the value it has
    /// For a check box with effects of its own: the slot that has them and that tells of the change.
    void (VMainWidget::*switched)(int state) = nullptr;

    /// Asks an engine for the option, into `value`. False when it does not know.
    template <class Engine>
    bool read(Engine& engine, OptionValue& value) const
    {
        return engine.GetOption(option, place(value)) == 0;
    }
    /// Hands what the control shows to an engine.
    template <class Engine>
    void write(Engine& engine) const
    {
        OptionValue value = shown();
        engine.SetOption(option, place(value));
    }

    void show(const OptionValue& value) const;
    OptionValue shown() const;

    /// Lets the window know of each change that the user or the program makes.
    void connectTo(VMainWidget* window) const;

  private:
    void* place(OptionValue& value) const;
};
