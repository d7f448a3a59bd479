// File dialogs of the host. Headless, the dialog provider answers them (the default cancels);
// the Qt frame installs one that shows a dialog.
#pragma once

#include <deque>
#include <string>
#include <vector>
#include "strclass.h"

// Pairs of description and pattern ("Scene files (*.kts)", "*.kts").
class FilterList {
public:
    void Append(const MCHAR* text) { items_.emplace_back(text ? text : L""); }
    int Count() const { return static_cast<int>(items_.size()); }
    const MCHAR* operator[](int i) const { return items_[static_cast<size_t>(i)].c_str(); }

private:
    std::vector<std::wstring> items_;
};

// Ask for a file to open or to save. initialDir is where the dialog starts; on TRUE, filename
// holds the chosen file.
BOOL DoMaxOpenFileDialog(const MCHAR* title, MSTR& filename, const MCHAR* initialDir, const FilterList& filters);
BOOL DoMaxSaveFileDialog(const MCHAR* title, MSTR& filename, const MCHAR* initialDir, const FilterList& filters);

namespace host {

struct FileRequest {
    bool save = false;
    std::wstring title;
    std::wstring initialDir;
    std::vector<std::wstring> filters;
};

class FileDialogProvider {
public:
    virtual ~FileDialogProvider() = default;
    // The chosen file, or empty for a cancel.
    virtual std::wstring Choose(const FileRequest& request) = 0;
};

// Installs p (not owned) and answers the previous one; null restores the default (cancel).
FileDialogProvider* SetFileDialogProvider(FileDialogProvider* p);

// Answers from a queue (cancel once it is empty) and remembers each request.
class ScriptedFileDialogs : public FileDialogProvider {
public:
    void Push(std::wstring answer) { answers_.push_back(std::move(answer)); }
    const std::vector<FileRequest>& Requests() const { return requests_; }
    std::wstring Choose(const FileRequest& r) override {
        requests_.push_back(r);
        if (answers_.empty()) return {};
        std::wstring a = answers_.front();
        answers_.pop_front();
        return a;
    }

private:
    std::deque<std::wstring> answers_;
    std::vector<FileRequest> requests_;
};

}  // namespace host
