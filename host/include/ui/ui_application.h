// The host's Qt side: one application object, the main window, and modal dialogs that tests
// can answer. Works with a display and without one (QT_QPA_PLATFORM=offscreen, which is chosen
// when no display is set).
#pragma once

#include <QString>
#include <functional>

class QDialog;
class QWidget;

namespace host::ui {

class MainWindow;

// The application object, made on first use (argc/argv are kept for Qt's lifetime).
void EnsureApplication();

// Makes the main window (once) and hands it to the core interface, so GetQmaxMainWindow
// answers it; answers the window. Shown only when show is set.
MainWindow* StartUI(bool show = false);
// Destroys the main window; GetQmaxMainWindow answers null again.
void StopUI();
MainWindow* GetMainWindow();

// Runs a modal dialog: the installed answerer gets it instead of a modal loop (it may fill
// fields, then accept or reject it); without an answerer the dialog runs modally under a
// display and is rejected at once under the offscreen platform. Answers QDialog::exec's code.
int ExecDialog(QDialog* dialog);
using DialogAnswerer = std::function<void(QDialog*)>;
// Installs an answerer and answers the previous one (empty: none).
DialogAnswerer SetDialogAnswerer(DialogAnswerer answerer);

// Renders a widget (and its children) into a PNG file; false when the file cannot be written.
bool RenderToPng(QWidget* widget, const QString& path);

}  // namespace host::ui
