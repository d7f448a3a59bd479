#include "ui/ui_application.h"

#include <QApplication>
#include <QDialog>
#include <QGuiApplication>
#include <QImage>
#include <QLayout>
#include <QPainter>
#include <cstdlib>

#include "maxapi.h"
#include "ui/main_window.h"
#include "ui/qt_file_dialogs.h"

namespace host::ui {
namespace {

MainWindow* mainWindow = nullptr;
DialogAnswerer answerer;

QtFileDialogProvider fileDialogs;
host::FileDialogProvider* previousFileDialogs = nullptr;

bool Offscreen() { return QGuiApplication::platformName() == QLatin1String("offscreen"); }

}  // namespace

void EnsureApplication() {
    if (QApplication::instance()) return;
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    if ((!platform || !*platform) && !std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY"))
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    static int argc = 1;
    static char name[] = "kinetrope";
    static char* argv[] = {name, nullptr};
    new QApplication(argc, argv);  // lives until the process ends
}

MainWindow* StartUI(bool show) {
    EnsureApplication();
    if (!mainWindow) {
        mainWindow = new MainWindow();
        host::SetMainWindow(mainWindow);
        previousFileDialogs = host::SetFileDialogProvider(&fileDialogs);
    }
    if (show) mainWindow->show();
    return mainWindow;
}

void StopUI() {
    if (!mainWindow) return;
    host::SetMainWindow(nullptr);
    host::SetFileDialogProvider(previousFileDialogs);
    previousFileDialogs = nullptr;
    delete mainWindow;
    mainWindow = nullptr;
}

MainWindow* GetMainWindow() { return mainWindow; }

int ExecDialog(QDialog* dialog) {
    if (answerer) {
        answerer(dialog);
        return dialog->result();
    }
    if (Offscreen()) {
        dialog->reject();
        return QDialog::Rejected;
    }
    return dialog->exec();
}

DialogAnswerer SetDialogAnswerer(DialogAnswerer a) {
    DialogAnswerer previous = std::move(answerer);
    answerer = std::move(a);
    return previous;
}

bool RenderToPng(QWidget* widget, const QString& path) {
    widget->ensurePolished();
    if (widget->layout()) widget->layout()->activate();
    QImage image(widget->size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(widget->palette().color(QPalette::Window));
    QPainter painter(&image);
    widget->render(&painter);
    painter.end();
    return image.save(path, "PNG");
}

}  // namespace host::ui
