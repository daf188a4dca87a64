// The window of a warning.
#pragma once

#include <QDialog>
#include <vector>

#include "programs/velaWarning/message.h"

class QBoxLayout;
class QPushButton;
class QTextEdit;

namespace kelvo::velaWarning {

/// Title, message, folded details, and the buttons in the order given. exec() returns the number of
/// the pressed button from 1; 0 when the window was closed or Escape pressed.
class WarningWindow : public QDialog {
  public:
    explicit WarningWindow(const Message& message);

  private:
    void addMessage(const Message& message);
    void addDetails(const std::string& detail);
    void addButtons(const std::vector<std::string>& labels);
    QPushButton* makeButton(const std::string& label, int number);

    QBoxLayout* layout_;    // owned by the window, as all below
    int textWidth_ = 0;     // pixels
    QString accelerators_;  // letters that an Alt key has already
};

}  // namespace kelvo::velaWarning
