#include "frame/ui/qt_dock_window.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QMainWindow>
#include <QScreen>
#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "frame/settings.h"
#include "maxapi.h"
#include "notify.h"
#include "script/ini_file.h"

namespace kt {
namespace {

constexpr int kPluginConfigDir = 9;
constexpr char kLayoutsFile[] = "KinetropeDockLayouts.ini";

QString DefaultLayoutsPath() {
    const MCHAR* dir = GetCOREInterface()->GetDir(kPluginConfigDir);
    QString folder = dir ? QString::fromWCharArray(dir) : QString();
    if (!folder.isEmpty() && !folder.endsWith(QLatin1Char('/'))) folder += QLatin1Char('/');
    return folder + QString::fromLatin1(kLayoutsFile);
}

std::wstring Wide(const QString& s) { return s.toStdWString(); }

int ReadInt(const QString& key, int fallback, bool* found = nullptr) {
    int v = fallback;
    const bool ok = GetIniInt(Wide(key).c_str(), v) != 0;
    if (found) *found = *found || ok;
    return ok ? v : fallback;
}

void WriteInt(const QString& key, int value) {
    SetIniValue(Wide(key).c_str(), std::to_wstring(value).c_str());
}

// Gap from a to b along the relation's axis; negative when they overlap on it.
int Gap(const QRect& a, const QRect& b, const QString& relation) {
    if (relation == QLatin1String("above")) return b.top() - a.bottom();
    if (relation == QLatin1String("below")) return a.top() - b.bottom();
    if (relation == QLatin1String("left")) return b.left() - a.right();
    return a.left() - b.right();
}

Qt::DockWidgetArea AreaFromInt(int v) {
    switch (v) {
    case Qt::LeftDockWidgetArea:
    case Qt::RightDockWidgetArea:
    case Qt::TopDockWidgetArea:
    case Qt::BottomDockWidgetArea:
        return static_cast<Qt::DockWidgetArea>(v);
    default:
        return Qt::NoDockWidgetArea;
    }
}

}  // namespace

QtDockWindow::QtDockWindow(QMainWindow* owner, const QString& settingsName, const QString& title,
                           const QString& iniPath)
    : QDockWidget(title, owner), owner_(owner), settingsName_(settingsName),
      iniPath_(iniPath.isEmpty() ? DefaultLayoutsPath() : iniPath) {
    setObjectName(settingsName);
    setProperty("QmaxDockMinMaximizable", true);
    setProperty("_3dsmax_floating_window_flags", static_cast<int>(Qt::WindowMinMaxButtonsHint));
    setProperty("_3dsmax_hide_titlebar_on_floating", false);
    RegisterNotification(&QtDockWindow::OnShutdown, this, NOTIFY_SYSTEM_SHUTDOWN);
}

QtDockWindow::~QtDockWindow() { UnRegisterNotification(&QtDockWindow::OnShutdown, this); }

QString QtDockWindow::Key(const char* key) const { return settingsName_ + QLatin1Char('_') + QLatin1String(key); }

void QtDockWindow::UpdateGeometry() {
    const QRect g = geometry();
    lastGeometry_ = QRect(QPoint(g.left(), g.top()), QPoint(g.right(), g.bottom()));
}

void QtDockWindow::moveEvent(QMoveEvent* e) {
    QDockWidget::moveEvent(e);
    UpdateGeometry();
}

void QtDockWindow::resizeEvent(QResizeEvent* e) {
    QDockWidget::resizeEvent(e);
    UpdateGeometry();
}

void QtDockWindow::closeEvent(QCloseEvent* e) {
    SavePlacement();
    QDockWidget::closeEvent(e);
}

bool QtDockWindow::event(QEvent* e) {
    // The main window takes its docks down with it without closing them: save on the way out.
    if (e->type() == QEvent::ParentAboutToChange || e->type() == QEvent::DeferredDelete) {
        if (!saved_) SavePlacement();
        saved_ = true;
    } else if (e->type() == QEvent::Show) {
        saved_ = false;
    }
    return QDockWidget::event(e);
}

void QtDockWindow::OnShutdown(void* param, NotifyInfo*) {
    auto* self = static_cast<QtDockWindow*>(param);
    if (!self->saved_) self->SavePlacement();
    self->saved_ = true;
}

DockLayout QtDockWindow::CurrentLayout() const {
    DockLayout layout;
    if (!owner_ || isFloating() || owner_->dockWidgetArea(const_cast<QtDockWindow*>(this)) == Qt::NoDockWidgetArea)
        return layout;
    const QRect mine = geometry();
    layout.width = mine.width();
    layout.height = mine.height();
    struct Neighbour {
        int gap;
        QString name, relation;
    };
    std::vector<Neighbour> found;
    static const char* const kRelations[] = {"above", "below", "left", "right"};
    for (QDockWidget* other : owner_->findChildren<QDockWidget*>(Qt::FindDirectChildrenOnly)) {
        if (other == this || other->isFloating() || !other->isVisible() || other->objectName().isEmpty()) continue;
        const QRect theirs = other->geometry();
        for (const char* r : kRelations) {
            const QString relation = QLatin1String(r);
            const int gap = Gap(mine, theirs, relation);
            if (gap >= 0) {
                found.push_back({gap, other->objectName(), relation});
                break;
            }
        }
    }
    std::stable_sort(found.begin(), found.end(), [](const Neighbour& a, const Neighbour& b) { return a.gap < b.gap; });
    for (const Neighbour& n : found) {
        layout.anchors << n.name;
        layout.relations << n.relation;
    }
    return layout;
}

void QtDockWindow::WriteLayout(const DockLayout& layout) const {
    host::script::IniFile file;
    const std::string path = iniPath_.toStdString();
    file.Load(path);
    const std::string section = settingsName_.toStdString();
    file.Set(section, "anchors", layout.anchors.join(QLatin1Char(',')).toStdString());
    file.Set(section, "relations", layout.relations.join(QLatin1Char(',')).toStdString());
    file.Set(section, "width", std::to_string(layout.width));
    file.Set(section, "height", std::to_string(layout.height));
    file.Save(path);
}

bool QtDockWindow::ReadLayout(const QString& iniPath, const QString& settingsName, DockLayout& out) {
    host::script::IniFile file;
    if (!file.Load(iniPath.toStdString())) return false;
    const std::string section = settingsName.toStdString();
    if (!file.HasSection(section)) return false;
    auto text = [&](const char* key) {
        auto v = file.Get(section, key);
        return v ? QString::fromStdString(*v) : QString();
    };
    DockLayout read;
    read.anchors = text("anchors").split(QLatin1Char(','), Qt::SkipEmptyParts);
    read.relations = text("relations").split(QLatin1Char(','), Qt::SkipEmptyParts);
    bool widthOk = false, heightOk = false;
    read.width = text("width").toInt(&widthOk);
    read.height = text("height").toInt(&heightOk);
    QString problem;
    if (read.anchors.size() != read.relations.size())
        problem = QStringLiteral("%1 anchors but %2 relations").arg(read.anchors.size()).arg(read.relations.size());
    for (const QString& r : read.relations)
        if (problem.isEmpty() && r != QLatin1String("above") && r != QLatin1String("below") &&
            r != QLatin1String("left") && r != QLatin1String("right"))
            problem = QStringLiteral("unknown relation \"%1\"").arg(r);
    if (problem.isEmpty() && (!widthOk || !heightOk || read.width < 0 || read.height < 0))
        problem = QStringLiteral("width and height must be whole numbers of pixels");
    if (!problem.isEmpty()) {
        // The window then docks by its area alone; the animator only needs to know why.
        host::Listener::WriteLine((QStringLiteral("Kinetrope: ignoring the dock layout of %1 in %2: %3")
                                       .arg(settingsName, iniPath, problem))
                                      .toStdWString());
        return false;
    }
    out = read;
    return true;
}

void QtDockWindow::SavePlacement() {
    UpdateGeometry();
    const bool docked = !isFloating();
    WriteInt(Key("Docked"), docked ? 1 : 0);
    const Qt::DockWidgetArea area = owner_ ? owner_->dockWidgetArea(this) : Qt::NoDockWidgetArea;
    if (area != Qt::NoDockWidgetArea) WriteInt(Key("DockArea"), static_cast<int>(area));
    if (docked && area != Qt::NoDockWidgetArea) WriteLayout(CurrentLayout());
    const QRect& r = lastGeometry_;
    if (r.left() <= r.right() && r.top() <= r.bottom()) {
        WriteInt(Key("PosX"), r.left());
        WriteInt(Key("PosY"), r.top());
        WriteInt(Key("SizeX"), r.right() - r.left() + 1);
        WriteInt(Key("SizeY"), r.bottom() - r.top() + 1);
    }
}

bool QtDockWindow::Restore() {
    bool found = false;
    const bool docked = ReadInt(Key("Docked"), 1, &found) != 0;
    const Qt::DockWidgetArea area = AreaFromInt(ReadInt(Key("DockArea"), Qt::RightDockWidgetArea, &found));
    const int x = ReadInt(Key("PosX"), INT_MIN, &found);
    const int y = ReadInt(Key("PosY"), INT_MIN, &found);
    const int w = ReadInt(Key("SizeX"), 0, &found);
    const int h = ReadInt(Key("SizeY"), 0, &found);

    if (!docked || !owner_) {
        setFloating(true);
        QRect place = geometry();
        if (w > 0 && h > 0) place.setSize(QSize(w, h));
        if (x != INT_MIN && y != INT_MIN) place.moveTopLeft(QPoint(x, y));
        // A place left on a screen that is gone comes back centred on the primary screen.
        if (!QGuiApplication::screenAt(place.center())) {
            if (QScreen* screen = QGuiApplication::primaryScreen()) place.moveCenter(screen->availableGeometry().center());
        }
        setGeometry(place);
        UpdateGeometry();
        return found;
    }

    owner_->addDockWidget(area == Qt::NoDockWidgetArea ? Qt::RightDockWidgetArea : area, this);
    setFloating(false);
    DockLayout layout;
    if (ReadLayout(iniPath_, settingsName_, layout)) {
        for (int i = 0; i < layout.anchors.size() && i < layout.relations.size(); ++i) {
            auto* anchor = owner_->findChild<QDockWidget*>(layout.anchors[i], Qt::FindDirectChildrenOnly);
            // Neighbours in other areas are placed by the area alone; the first one that
            // shares ours decides where in the area the window goes.
            if (!anchor || anchor == this || anchor->isFloating() ||
                owner_->dockWidgetArea(anchor) != owner_->dockWidgetArea(this))
                continue;
            const QString& rel = layout.relations[i];
            const Qt::Orientation o =
                (rel == QLatin1String("above") || rel == QLatin1String("below")) ? Qt::Vertical : Qt::Horizontal;
            if (rel == QLatin1String("below") || rel == QLatin1String("right"))
                owner_->splitDockWidget(anchor, this, o);
            else
                owner_->splitDockWidget(this, anchor, o);
            break;
        }
        if (layout.width > 0) owner_->resizeDocks({this}, {layout.width}, Qt::Horizontal);
        if (layout.height > 0) owner_->resizeDocks({this}, {layout.height}, Qt::Vertical);
    }
    return found;
}

}  // namespace kt
