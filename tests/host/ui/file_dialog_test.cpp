// The frame's file dialogs: what the animator is shown and what comes back.
#include <gtest/gtest.h>

#include <QFileDialog>
#include <filesystem>
#include <fstream>

#include "filedialog.h"
#include "ui/qt_file_dialogs.h"
#include "ui/ui_application.h"

namespace {

TEST(QtFileDialogs, TheFrameAsksWithAQFileDialogAndAnswersTheChoice) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / ("kt_filedlg_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    std::ofstream(dir / "walk.pose") << "x";

    EXPECT_EQ(host::ui::QtFileDialogProvider::NameFilters(
                  {L"Pose Files (*.pose)", L"*.pose", L"Anim", L"*.anm;*.anim", L"All Files (*.*)", L"*.*"}),
              (QStringList{"Pose Files (*.pose)", "Anim (*.anm *.anim)", "All Files (*.*)"}));

    MSTR name;
    FilterList filters;
    for (const wchar_t* f : {L"Pose Files (*.pose)", L"*.pose", L"All Files (*.*)", L"*.*"}) filters.Append(f);
    EXPECT_FALSE(DoMaxOpenFileDialog(L"Load Pose", name, dir.wstring().c_str(), filters))
        << "without the frame nobody answers";

    host::ui::StartUI();
    QString title, startDir;
    QStringList shown;
    bool saving = true;
    host::ui::SetDialogAnswerer([&](QDialog* d) {
        auto* dlg = qobject_cast<QFileDialog*>(d);
        ASSERT_NE(dlg, nullptr);
        title = dlg->windowTitle();
        startDir = dlg->directory().absolutePath();
        shown = dlg->nameFilters();
        saving = dlg->acceptMode() == QFileDialog::AcceptSave;
        dlg->selectFile(QString::fromStdWString((dir / "walk.pose").wstring()));
        static_cast<QDialog*>(dlg)->accept();
    });
    ASSERT_TRUE(DoMaxOpenFileDialog(L"Load Pose", name, dir.wstring().c_str(), filters));
    EXPECT_EQ(std::wstring(name.data()), (dir / "walk.pose").wstring());
    EXPECT_EQ(title, QStringLiteral("Load Pose"));
    EXPECT_EQ(startDir.toStdWString(), fs::canonical(dir).wstring());
    EXPECT_EQ(shown, (QStringList{"Pose Files (*.pose)", "All Files (*.*)"}));
    EXPECT_FALSE(saving);

    host::ui::SetDialogAnswerer([&](QDialog* d) {
        saving = static_cast<QFileDialog*>(d)->acceptMode() == QFileDialog::AcceptSave;
        d->reject();
    });
    EXPECT_FALSE(DoMaxSaveFileDialog(L"Save Pose", name, dir.wstring().c_str(), filters)) << "a cancel";
    EXPECT_TRUE(saving);

    host::ui::SetDialogAnswerer({});
    host::ui::StopUI();
    EXPECT_FALSE(DoMaxOpenFileDialog(L"Load Pose", name, dir.wstring().c_str(), filters))
        << "the frame takes its dialogs away when it goes";
    fs::remove_all(dir);
}

}  // namespace
