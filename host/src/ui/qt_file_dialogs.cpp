#include "ui/qt_file_dialogs.h"

#include <QFileDialog>

#include "ui/ui_application.h"

namespace host::ui {

QStringList QtFileDialogProvider::NameFilters(const std::vector<std::wstring>& pairs) {
    QStringList out;
    for (size_t i = 0; i + 1 < pairs.size(); i += 2) {
        const QString description = QString::fromStdWString(pairs[i]).trimmed();
        QString pattern = QString::fromStdWString(pairs[i + 1]).trimmed();
        pattern.replace(QLatin1Char(';'), QLatin1Char(' '));
        if (pattern.isEmpty()) continue;
        if (description.contains(QLatin1Char('(')) && description.endsWith(QLatin1Char(')')))
            out << description;
        else
            out << (description.isEmpty() ? pattern : description + QStringLiteral(" (") + pattern + QLatin1Char(')'));
    }
    return out;
}

std::wstring QtFileDialogProvider::Choose(const host::FileRequest& request) {
    QFileDialog dialog(nullptr, QString::fromStdWString(request.title), QString::fromStdWString(request.initialDir));
    // The same dialog on every platform, so that tests and users see one thing.
    dialog.setOption(QFileDialog::DontUseNativeDialog, true);
    dialog.setAcceptMode(request.save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
    dialog.setFileMode(request.save ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
    const QStringList filters = NameFilters(request.filters);
    if (!filters.isEmpty()) dialog.setNameFilters(filters);
    if (ExecDialog(&dialog) != QDialog::Accepted) return {};
    const QStringList files = dialog.selectedFiles();
    return files.isEmpty() ? std::wstring() : files.front().toStdWString();
}

}  // namespace host::ui
