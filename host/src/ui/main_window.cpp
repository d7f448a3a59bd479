#include "ui/main_window.h"

#include <QAction>
#include <QApplication>
#include <QChildEvent>
#include <QDockWidget>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPlainTextEdit>
#include <QScrollArea>
#include <QSlider>
#include <QStatusBar>
#include <QTabBar>
#include <QToolButton>
#include <QVBoxLayout>

#include "inode.h"
#include "iparamb2.h"
#include "macrorec.h"
#include "maxapi.h"
#include "modifier.h"
#include "notify.h"
#include "ui/qmax_param_block_widget.h"
#include "ui/qmax_toolbar.h"
#include "ui/viewport_image.h"
#include "viewexp.h"

namespace host::ui {
namespace {

QString ToQ(const MCHAR* s) { return QString::fromWCharArray(s ? s : L""); }

QString ClassNameOf(Animatable* a) {
    MSTR name;
    a->GetClassName(name);
    return ToQ(name.data());
}

// The active viewport, shown as a top view framed on the scene: the host's own drawing of
// every node, links to parents, and each node's name beside its pivot.
class Viewport : public QWidget {
public:
    explicit Viewport(QWidget* parent) : QWidget(parent) {
        setMinimumSize(480, 360);
        setAutoFillBackground(false);
        ViewExp& vpt = GetCOREInterface()->GetActiveViewExp();
        vpt.host_SetViewType(VIEW_TOP);
        vpt.host_SetShowLinks(true);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        Interface* ip = GetCOREInterface();
        const TimeValue t = ip->GetTime();
        ViewExp& vpt = ip->GetActiveViewExp();
        vpt.host_SetSize(width(), height());
        vpt.host_ZoomExtents(host::SceneWorldBox(vpt, t));
        QPainter p(this);
        p.drawImage(0, 0, host::RenderViewport(vpt, t));
        p.setPen(QColor(220, 220, 220));
        std::function<void(INode*)> label = [&](INode* n) {
            for (int i = 0; i < n->NumberOfChildren(); ++i) {
                INode* child = n->GetChildNode(i);
                if (!child->IsHidden()) {
                    const Point3 s = vpt.MapWorldToScreen(child->GetNodeTM(t).GetTrans());
                    p.drawText(QPointF(s.x + 8, s.y - 6), ToQ(child->GetName()));
                }
                label(child);
            }
        };
        label(ip->GetRootNode());
        p.setPen(QColor(200, 200, 200));
        p.drawText(QPointF(10, 20), QStringLiteral("Top"));
    }
};

// A rollup: a title button that folds the body away.
class Rollup : public QFrame {
public:
    Rollup(const QString& title, QWidget* body) {
        setFrameShape(QFrame::StyledPanel);
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(2, 2, 2, 4);
        layout->setSpacing(2);
        auto* head = new QToolButton(this);
        head->setText(title);
        head->setCheckable(true);
        head->setChecked(true);
        head->setArrowType(Qt::DownArrow);
        head->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        head->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        QObject::connect(head, &QToolButton::toggled, body, [head, body](bool open) {
            head->setArrowType(open ? Qt::DownArrow : Qt::RightArrow);
            body->setVisible(open);
        });
        body->setParent(this);
        layout->addWidget(head);
        layout->addWidget(body);
    }
};

}  // namespace

CommandPanel::CommandPanel(QWidget* parent) : QWidget(parent) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(4, 4, 4, 4);
    title_ = new QLabel(QStringLiteral("Nothing selected"), this);
    title_->setObjectName(QStringLiteral("commandPanelTitle"));
    QFont f = title_->font();
    f.setBold(true);
    title_->setFont(f);
    tabs_ = new QTabBar(this);
    tabs_->setObjectName(QStringLiteral("commandPanelTabs"));
    tabs_->setExpanding(false);
    for (const char* name : {"Create", "Modify", "Hierarchy", "Motion", "Display", "Utility"})
        tabs_->addTab(QString::fromLatin1(name));
    tabs_->setCurrentIndex(GetCOREInterface()->GetCommandPanelTaskMode() - TASK_MODE_CREATE);
    connect(tabs_, &QTabBar::currentChanged, this,
            [](int index) { GetCOREInterface()->SetCommandPanelTaskMode(index + TASK_MODE_CREATE); });
    outer->addWidget(tabs_);
    outer->addWidget(title_);
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* body = new QWidget(scroll);
    list_ = new QVBoxLayout(body);
    list_->setContentsMargins(0, 0, 0, 0);
    list_->addStretch(1);
    scroll->setWidget(body);
    outer->addWidget(scroll, 1);
    RegisterNotification(&CommandPanel::OnSelection, this, NOTIFY_SELECTIONSET_CHANGED);
    host::AddCommandPanelObserver(this);
}

CommandPanel::~CommandPanel() {
    host::RemoveCommandPanelObserver(this);
    UnRegisterNotification(&CommandPanel::OnSelection, this, NOTIFY_SELECTIONSET_CHANGED);
    Clear();
}

void CommandPanel::OnSelection(void* param, NotifyInfo*) {
    Interface* ip = GetCOREInterface();
    static_cast<CommandPanel*>(param)->ShowNode(ip->GetSelNodeCount() > 0 ? ip->GetSelNode(0) : nullptr);
}

void CommandPanel::Clear() {
    // Page widgets belong to their editors: out of their frames before the frames go.
    for (auto& [widget, frame] : pageFrames_) {
        widget->hide();
        widget->setParent(nullptr);
        delete frame;
    }
    pageFrames_.clear();
    for (QWidget* w : frames_) delete w;
    frames_.clear();
    rollups_.clear();
}

void CommandPanel::AddPage(const host::RollupPage& page) {
    if (!page.widget || pageFrames_.count(page.widget)) return;
    auto* frame = new Rollup(ToQ(page.title.data()), page.widget);
    if (page.flags & APPENDROLL_CLOSED) frame->findChild<QToolButton*>()->setChecked(false);
    // Shown in the host's order: after the pages that come before it there.
    int at = 0;
    for (const host::RollupPage& p : host::RollupPages()) {
        if (p.widget == page.widget) break;
        if (pageFrames_.count(p.widget)) ++at;
    }
    list_->insertWidget(at, frame);
    page.widget->show();
    pageFrames_[page.widget] = frame;
    if (auto* pb = dynamic_cast<MaxSDK::QMaxParamBlockWidget*>(page.widget)) rollups_.push_back(pb);
}

void CommandPanel::RollupPageAdded(const host::RollupPage& page) {
    if (GetCOREInterface()->GetCommandPanelTaskMode() == TASK_MODE_MOTION) AddPage(page);
}

void CommandPanel::RollupPageDeleted(const host::RollupPage& page) {
    auto it = pageFrames_.find(page.widget);
    if (it == pageFrames_.end()) return;
    std::erase(rollups_, dynamic_cast<MaxSDK::QMaxParamBlockWidget*>(page.widget));
    page.widget->hide();
    page.widget->setParent(nullptr);
    delete it->second;
    pageFrames_.erase(it);
}

void CommandPanel::TaskModeChanged(int mode) {
    const QSignalBlocker block(tabs_);
    tabs_->setCurrentIndex(mode - TASK_MODE_CREATE);
    Interface* ip = GetCOREInterface();
    ShowNode(ip->GetSelNodeCount() > 0 ? ip->GetSelNode(0) : nullptr);
}

void CommandPanel::AddAnimatable(Animatable* anim, const QString& heading) {
    if (!anim) return;
    ClassDesc* cd = host::ClassDirectory::Get().FindClass(anim->SuperClassID(), anim->ClassID());
    auto* cd2 = dynamic_cast<ClassDesc2*>(cd);
    auto* ref = dynamic_cast<ReferenceMaker*>(anim);
    bool any = false;
    for (int i = 0; cd2 && ref && i < anim->NumParamBlocks(); ++i) {
        IParamBlock2* pb = anim->GetParamBlock(i);
        if (!pb || !pb->GetDesc()) continue;
        const int maps = std::max<int>(1, static_cast<int>(pb->GetDesc()->maps.size()));
        for (int m = 0; m < maps; ++m) {
            MSTR title;
            int flags = 0, category = 0;
            MaxSDK::QMaxParamBlockWidget* w = cd2->CreateQtWidget(*ref, *pb, static_cast<MapID>(m), title, flags, category);
            if (!w) continue;
            auto* frame = new Rollup(heading + QStringLiteral(": ") +
                                                (title.data()[0] ? ToQ(title.data()) : ClassNameOf(anim)),
                                            w);
            w->SetParamBlock(ref, pb);
            list_->insertWidget(list_->count() - 1, frame);
            frames_.push_back(frame);
            rollups_.push_back(w);
            any = true;
        }
    }
    if (!any) {
        auto* label = new QLabel(heading + QStringLiteral(": ") + ClassNameOf(anim), this);
        label->setContentsMargins(4, 2, 4, 2);
        list_->insertWidget(list_->count() - 1, label);
        frames_.push_back(label);
    }
}

void CommandPanel::ShowNode(INode* node) {
    Clear();
    node_ = node;
    if (!node) {
        title_->setText(QStringLiteral("Nothing selected"));
        return;
    }
    title_->setText(ToQ(node->GetName()));
    if (GetCOREInterface()->GetCommandPanelTaskMode() == TASK_MODE_MOTION) {
        for (const host::RollupPage& page : host::RollupPages()) AddPage(page);
        return;
    }
    Object* obj = node->GetObjectRef();
    while (obj && obj->SuperClassID() == GEN_DERIVOB_CLASS_ID) {
        auto* d = static_cast<IDerivedObject*>(obj);
        for (int i = 0; i < d->NumModifiers(); ++i) AddAnimatable(d->GetModifier(i), QStringLiteral("Modifier"));
        obj = d->GetObjRef();
    }
    // Base object first, as the stack reads from the bottom in a panel's top.
    if (obj) {
        const int modifiers = static_cast<int>(frames_.size());
        AddAnimatable(obj, QStringLiteral("Object"));
        // move the object's rollups above the modifiers
        for (size_t i = modifiers; i < frames_.size(); ++i) {
            list_->removeWidget(frames_[i]);
            list_->insertWidget(static_cast<int>(i - modifiers), frames_[i]);
        }
    }
    AddAnimatable(node->GetTMController(), QStringLiteral("Transform"));
}

struct MainWindow::MacroLines : MacroRecorder::Observer {
    explicit MacroLines(QPlainTextEdit* area) : area(area) { macroRecorder->AddObserver(this); }
    ~MacroLines() override { macroRecorder->RemoveObserver(this); }
    void LineEmitted(const MSTR& line) override { area->appendPlainText(ToQ(line.data())); }
    QPlainTextEdit* area;
};

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent) {
    setObjectName(QStringLiteral("KinetropeHostMainWindow"));
    setWindowTitle(QStringLiteral("Kinetrope Host"));
    resize(1280, 800);
    setDockOptions(QMainWindow::AnimatedDocks | QMainWindow::AllowNestedDocks | QMainWindow::AllowTabbedDocks);

    auto* tools = new MaxSDK::QmaxToolBar(QStringLiteral("MainToolBar"), QStringLiteral("Main Toolbar"), this);
    for (const char* name : {"Undo", "Redo", "Select", "Move", "Rotate", "Scale", "Link", "Unlink"})
        tools->addAction(QString::fromLatin1(name));
    addToolBar(Qt::TopToolBarArea, tools);

    setCentralWidget(new Viewport(this));

    panel_ = new CommandPanel(this);
    panelDock_ = new QDockWidget(QStringLiteral("Command Panel"), this);
    panelDock_->setObjectName(QStringLiteral("CommandPanel"));
    panelDock_->setWidget(panel_);
    panelDock_->setMinimumWidth(280);
    addDockWidget(Qt::RightDockWidgetArea, panelDock_);

    auto* timeBar = new QWidget(this);
    auto* row = new QHBoxLayout(timeBar);
    row->setContentsMargins(8, 4, 8, 4);
    slider_ = new QSlider(Qt::Horizontal, timeBar);
    const Interval range = GetCOREInterface()->GetAnimRange();
    slider_->setRange(range.Start() / GetTicksPerFrame(), range.End() / GetTicksPerFrame());
    slider_->setValue(GetCOREInterface()->GetTime() / GetTicksPerFrame());
    frameLabel_ = new QLabel(timeBar);
    frameLabel_->setMinimumWidth(90);
    auto showFrame = [this](int f) {
        frameLabel_->setText(QStringLiteral("%1 / %2").arg(f).arg(slider_->maximum()));
    };
    showFrame(slider_->value());
    connect(slider_, &QSlider::valueChanged, this, [this, showFrame](int f) {
        showFrame(f);
        GetCOREInterface()->SetTime(f * GetTicksPerFrame());
        centralWidget()->update();
        for (MaxSDK::QMaxParamBlockWidget* w : panel_->Rollups()) w->UpdateUI(f * GetTicksPerFrame());
    });
    row->addWidget(frameLabel_);
    row->addWidget(slider_, 1);
    timeDock_ = new QDockWidget(QStringLiteral("Time Slider"), this);
    timeDock_->setObjectName(QStringLiteral("TimeSlider"));
    timeDock_->setWidget(timeBar);
    timeDock_->setFeatures(QDockWidget::NoDockWidgetFeatures);
    timeDock_->setTitleBarWidget(new QWidget(timeDock_));
    addDockWidget(Qt::BottomDockWidgetArea, timeDock_);

    macroArea_ = new QPlainTextEdit(this);
    macroArea_->setObjectName(QStringLiteral("macroRecorderArea"));
    macroArea_->setReadOnly(true);
    QString recorded = ToQ(macroRecorder->Text().data());
    if (recorded.endsWith(QLatin1Char('\n'))) recorded.chop(1);
    macroArea_->setPlainText(recorded);
    macroLines_ = std::make_unique<MacroLines>(macroArea_);
    listenerDock_ = new QDockWidget(QStringLiteral("Listener"), this);
    listenerDock_->setObjectName(QStringLiteral("Listener"));
    listenerDock_->setWidget(macroArea_);
    addDockWidget(Qt::BottomDockWidgetArea, listenerDock_);
    listenerDock_->hide();

    statusBar()->showMessage(QStringLiteral("Ready"));
}

MainWindow::~MainWindow() = default;

void MainWindow::ApplyDockProperties(QDockWidget* dock) {
    if (!dock->isFloating()) return;
    Qt::WindowFlags flags = dock->windowFlags();
    const QVariant extra = dock->property("_3dsmax_floating_window_flags");
    if (extra.isValid()) flags |= Qt::WindowFlags(extra.toInt());
    if (dock->property("QmaxDockMinMaximizable").toBool())
        flags |= Qt::WindowMinMaxButtonsHint;
    if (dock->property("_3dsmax_hide_titlebar_on_floating").toBool()) flags |= Qt::FramelessWindowHint;
    if (flags != dock->windowFlags()) {
        dock->setWindowFlags(flags);
        dock->show();
    }
}

bool MainWindow::event(QEvent* e) {
    if (e->type() == QEvent::ChildAdded) {
        auto* dock = qobject_cast<QDockWidget*>(static_cast<QChildEvent*>(e)->child());
        if (dock && !dock->property("_kt_dock_watched").toBool()) {
            dock->setProperty("_kt_dock_watched", true);
            connect(dock, &QDockWidget::topLevelChanged, this, [dock](bool) { ApplyDockProperties(dock); });
        }
    }
    return QMainWindow::event(e);
}

}  // namespace host::ui
