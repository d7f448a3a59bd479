// The core interface: the application as the plug-in sees it.
//
// GetCOREInterface(), GetCOREInterface7() and GetCOREInterface13() answer the same object.
// Everything here is headless: views only count redraws, message boxes go to a prompt
// provider that tests can script, and listener text goes to a sink (stdout by default).
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>
#include "maxtypes.h"
#include "strclass.h"
#include "tab.h"
#include "inode.h"
#include "ilayer.h"

class QWidget;
class ClassDesc;
class TrackViewFilter;
struct TrackViewPick;
class ViewExp;
class IPoint2;
class PickNodeCallback;
class PickModeCallback;

// Called with the new time whenever the current time changes.
class TimeChangeCallback {
public:
    virtual ~TimeChangeCallback() = default;
    virtual void TimeChanged(TimeValue t) = 0;
};

// Reference coordinate systems.
constexpr int COORDS_HYBRID = 0;
constexpr int COORDS_SCREEN = 1;
constexpr int COORDS_WORLD = 2;
constexpr int COORDS_PARENT = 3;
constexpr int COORDS_LOCAL = 4;
constexpr int COORDS_OBJECT = 5;
constexpr int COORDS_GIMBAL = 6;
constexpr int COORDS_WORKINGPIVOT = 7;

// RedrawViews flags.
constexpr DWORD REDRAW_BEGIN = 1 << 0;
constexpr DWORD REDRAW_INTERACTIVE = 1 << 1;
constexpr DWORD REDRAW_END = 1 << 2;
constexpr DWORD REDRAW_NORMAL = 1 << 3;
constexpr DWORD VP_DONT_SIMPLIFY = 1 << 4;

// GetDir ids.
constexpr int APP_FONT_DIR = 0;
constexpr int APP_SCENE_DIR = 1;
constexpr int APP_IMPORT_DIR = 2;
constexpr int APP_EXPORT_DIR = 3;
constexpr int APP_HELP_DIR = 4;
constexpr int APP_EXPRESSION_DIR = 5;
constexpr int APP_PREVIEW_DIR = 6;
constexpr int APP_IMAGE_DIR = 7;
constexpr int APP_SOUND_DIR = 8;
constexpr int APP_PLUGCFG_DIR = 9;
constexpr int APP_MAXSTART_DIR = 10;
constexpr int APP_VPOST_DIR = 11;
constexpr int APP_DRIVERS_DIR = 12;
constexpr int APP_AUTOBACK_DIR = 13;
constexpr int APP_MATLIB_DIR = 14;
constexpr int APP_SCRIPTS_DIR = 15;
constexpr int APP_STARTUPSCRIPTS_DIR = 16;
constexpr int APP_UI_DIR = 19;
constexpr int APP_MAXROOT_DIR = 20;
constexpr int APP_TEMP_DIR = 25;

// Message boxes (the platform's names): button sets, default button, answers.
constexpr UINT MB_OK = 0x0;
constexpr UINT MB_OKCANCEL = 0x1;
constexpr UINT MB_YESNOCANCEL = 0x3;
constexpr UINT MB_YESNO = 0x4;
constexpr UINT MB_ICONERROR = 0x10;
constexpr UINT MB_ICONQUESTION = 0x20;
constexpr UINT MB_ICONWARNING = 0x30;
constexpr UINT MB_ICONINFORMATION = 0x40;
constexpr UINT MB_DEFBUTTON1 = 0x0;
constexpr UINT MB_DEFBUTTON2 = 0x100;
constexpr UINT MB_DEFBUTTON3 = 0x200;
constexpr int IDOK = 1;
constexpr int IDCANCEL = 2;
constexpr int IDYES = 6;
constexpr int IDNO = 7;

// Shows a message box through the host's prompt provider and answers IDOK, IDCANCEL, IDYES or
// IDNO. In quiet mode nothing is asked: the text goes to the listener and the default button
// is the answer.
int MessageBox(HWND owner, const MCHAR* text, const MCHAR* caption, UINT type);
void MessageBeep(UINT type);

typedef DWORD (*LPTHREAD_START_ROUTINE)(void* arg);

// Command panel task modes (the panel's tabs).
constexpr int TASK_MODE_CREATE = 1;
constexpr int TASK_MODE_MODIFY = 2;
constexpr int TASK_MODE_HIERARCHY = 3;
constexpr int TASK_MODE_MOTION = 4;
constexpr int TASK_MODE_DISPLAY = 5;
constexpr int TASK_MODE_UTILITY = 6;

// Rollup pages: AddRollupPage flags, and categories (lower categories show higher).
constexpr DWORD APPENDROLL_CLOSED = 1 << 0;
constexpr int ROLLUP_CAT_SYSTEM = 2000;
constexpr int ROLLUP_CAT_STANDARD = 4000;
constexpr int ROLLUP_CAT_CUSTATTRIB = 6000;

class Interface {
public:
    virtual ~Interface() = default;

    // ---- Time (ticks).
    virtual TimeValue GetTime();
    // Sets the current time; a change calls every registered TimeChangeCallback.
    virtual void SetTime(TimeValue t, BOOL redraw = TRUE);
    virtual Interval GetAnimRange();
    virtual void SetAnimRange(Interval range);
    virtual void RegisterTimeChangeCallback(TimeChangeCallback* tc);
    virtual void UnRegisterTimeChangeCallback(TimeChangeCallback* tc);
    // The animate button (see also the free Animating/AnimateOn/AnimateOff).
    virtual void SetAnimateButtonState(BOOL onOff);
    virtual BOOL GetAnimateButtonState();

    // ---- Scene.
    virtual INode* GetRootNode();
    // The first node in hierarchy order whose name matches (case-insensitive); null if none.
    virtual INode* GetINodeByName(const MCHAR* name);
    virtual INode* GetINodeByHandle(ULONG handle);
    // A new node at the top level on the current layer, referring to obj (may be null), with
    // the default transform controller, named from obj's InitNodeName made unique ("Point001").
    // Broadcasts NOTIFY_NODE_CREATED. Recorded while holding.
    virtual INode* CreateObjectNode(Object* obj);
    // As above with the name baseName made unique: trailing digits are dropped and the next
    // free three-digit number is appended ("Point" gives "Point001", then "Point002").
    virtual INode* CreateObjectNode(Object* obj, const MCHAR* baseName);
    // The name baseName would get (see CreateObjectNode).
    virtual MSTR MakeNameUnique(const MCHAR* baseName);
    // Deletes a node: broadcasts NOTIFY_SCENE_PRE_DELETED_NODE, reattaches its children to
    // its parent (keeping their world transforms with keepChildTM), sends REFMSG_TARGET_DELETED
    // to its dependents and nulls their references to it. Recorded while holding: the node
    // lives on in the undo record and undo puts it back with its references and children.
    // The root cannot be deleted.
    virtual void DeleteNode(INode* node, BOOL keepChildTM = TRUE, BOOL redraw = TRUE, BOOL overrideSlaves = FALSE);

    // ---- Selection. Nodes whose selection changes get REFMSG_TARGET_SELECTIONCHANGE sent to
    // their dependents; a call that changed anything broadcasts NOTIFY_SELECTIONSET_CHANGED and,
    // while holding, is recorded ("Select"): undo puts the whole selection back at once.
    virtual int GetSelNodeCount();
    // Null for an index out of range.
    virtual INode* GetSelNode(int i);
    virtual void SelectNode(INode* node, int clearSel = 1);
    virtual void DeSelectNode(INode* node);
    virtual void SelectNodeTab(INodeTab& nodes, BOOL sel, BOOL redraw = TRUE);
    virtual void ClearNodeSelection(BOOL redraw = TRUE);

    // ---- Views.
    // Counts a redraw unless scene redraw is disabled (see host::RedrawCount).
    virtual void RedrawViews(TimeValue t, DWORD vpFlags = REDRAW_NORMAL, ReferenceTarget* change = nullptr);
    virtual void ForceCompleteRedraw(BOOL doDisabled = TRUE);
    // Nesting: redraws count again after as many Enable as Disable calls.
    virtual void DisableSceneRedraw();
    virtual void EnableSceneRedraw();
    virtual int IsSceneRedrawDisabled();
    virtual int GetRefCoordSys();
    virtual void SetRefCoordSys(int coordSys);
    virtual float GetUIScaleFactor();
    virtual QWidget* GetQmaxMainWindow();
    virtual HWND GetMAXHWnd();
    // The active viewport (viewexp.h); the host keeps one, the perspective user view at first.
    virtual ViewExp& GetActiveViewExp();
    // The node under a screen point of vpt at the current time (closest hit within the pick
    // tolerance, see host::PickSceneNode); null when nothing is there. filter may be null.
    // Also remembered as vpt's closest hit (ViewExp::GetClosestHit).
    virtual INode* PickNode(ViewExp* vpt, const IPoint2& pt, PickNodeCallback* filter = nullptr);
    // The pick mode (cmdmode.h): entering one exits the mode before it; setting the active
    // mode again leaves it active. Not owned.
    virtual void SetPickMode(PickModeCallback* mode);
    virtual void ClearPickMode();
    virtual PickModeCallback* GetCurPickMode();

    // ---- Layers.
    virtual ILayerManager* GetLayerManager();

    // ---- Command panel. The host starts in TASK_MODE_MODIFY. In TASK_MODE_MOTION, while
    // exactly one node is selected, its TM controller is edited: the host calls its
    // BeginEditParams(ip, BEGIN_EDIT_MOTION, prev), and EndEditParams(ip, END_EDIT_REMOVEUI,
    // next) once the selection, the mode or the node's controller changes, the node is
    // deleted or the scene is reset. An unknown mode is ignored.
    virtual int GetCommandPanelTaskMode();
    virtual void SetCommandPanelTaskMode(int mode);
    // A rollup of the object being edited, shown in the command panel by category, then in
    // the order added. The widget is not owned: its editor deletes it after DeleteRollupPage.
    // Adding a widget twice keeps the first page.
    virtual void AddRollupPage(QWidget& qtWidget, const MCHAR* title, DWORD rollupFlags = 0,
                               int category = ROLLUP_CAT_STANDARD);
    virtual void DeleteRollupPage(QWidget& qtWidget);

    // ---- User.
    virtual void PushPrompt(const MCHAR* msg);
    virtual void PopPrompt();
    virtual void ReplacePrompt(const MCHAR* msg);
    virtual void DisplayTempPrompt(const MCHAR* msg, int msec = 1000);
    // Headless progress: the state is kept for the command line and tests. With fn, runs fn(arg)
    // at once and answers its result (as the host does when it runs a task under progress).
    virtual BOOL ProgressStart(const MCHAR* title, BOOL dispBar = TRUE, LPTHREAD_START_ROUTINE fn = nullptr,
                               void* arg = nullptr);
    virtual void ProgressUpdate(int pct, BOOL showPct = TRUE, const MCHAR* title = nullptr);
    virtual void ProgressEnd();
    virtual BOOL GetCancel();
    virtual void SetCancel(BOOL sw);
    virtual BOOL GetQuietMode(BOOL checkServerMode = TRUE);
    virtual void SetQuietMode(BOOL onOff);
    virtual void SetWaitCursor(BOOL onOff) { (void)onOff; }
    // A folder by APP_*_DIR id: APP_PLUGCFG_DIR is host::ConfigDir(), APP_TEMP_DIR and
    // APP_AUTOBACK_DIR the system's temporary folder, the others $KT_HOST_ROOT_DIR (else the
    // configuration folder). The text stays valid until the next GetDir of the same id.
    virtual const MCHAR* GetDir(int which);

    // ---- Track view.
    // The track-view pick dialog (trackview.h): TRUE and res filled for a pick, FALSE for a
    // cancel. Only tracks the filter allows can be picked.
    virtual BOOL TrackViewPickDlg(HWND hParent, TrackViewPick* res, TrackViewFilter* filter = nullptr,
                                  DWORD flags = 0);
};

class IObjParam : public Interface {};

class Interface7 : public IObjParam {};

class Interface13 : public Interface7 {
public:
    // Deletes the nodes as DeleteNode does, as one operation (one notification each).
    virtual void DeleteNodes(INodeTab& nodes, bool keepChildTM = true, bool redraw = true,
                             bool overrideSlaveTM = false);
};

Interface* GetCOREInterface();
Interface7* GetCOREInterface7();
Interface13* GetCOREInterface13();

// Animate mode. SetValue of keyframe controllers keys while Animating() is true.
BOOL Animating();
void AnimateOn();
void AnimateOff();
// Suspend/resume nest; while suspended Animating() answers false.
void SuspendAnimate();
void ResumeAnimate();

namespace MaxSDK {
// Pixel sizes in panels are at scale 1 times this (1.0 headless unless a test changes it).
float GetUIScaleFactor();
}  // namespace MaxSDK

namespace host {

// Where `print`-like output of the host and the plug-in goes. Text is UTF-8; the default sink
// writes to stdout. Plug-in diagnostics are lines "Kinetrope: ...".
class Listener {
public:
    using Sink = std::function<void(std::string_view utf8)>;
    static void Write(std::string_view utf8);
    static void Write(std::wstring_view text);
    // Writes text and a line end.
    static void WriteLine(std::wstring_view text);
    static void Printf(const MCHAR* fmt, ...);
    // Installs sink and answers the previous one; an empty sink restores stdout.
    static Sink SetSink(Sink sink);
};

// Collects listener text while it lives, then restores the previous sink.
class ListenerCapture {
public:
    ListenerCapture();
    ~ListenerCapture();
    ListenerCapture(const ListenerCapture&) = delete;
    ListenerCapture& operator=(const ListenerCapture&) = delete;
    const std::string& Text() const { return text_; }
    void Clear() { text_.clear(); }

private:
    std::string text_;
    Listener::Sink previous_;
};

// What a message box asks, and how it is answered.
enum class PromptButtons { Ok, OkCancel, YesNo, YesNoCancel };
enum class PromptAnswer { Ok, Cancel, Yes, No };

class PromptProvider {
public:
    virtual ~PromptProvider() = default;
    virtual PromptAnswer Ask(PromptButtons buttons, const std::wstring& title, const std::wstring& text,
                             PromptAnswer defaultAnswer) = 0;
};

// Installs p (not owned) and answers the previous provider; null restores the headless
// default, which writes "title: text" to the listener and answers the default.
PromptProvider* SetPromptProvider(PromptProvider* p);
PromptProvider& Prompts();

// A provider for tests: answers from a queue (the default once the queue is empty) and
// remembers every prompt it was asked.
class ScriptedPrompts : public PromptProvider {
public:
    struct Asked {
        PromptButtons buttons;
        std::wstring title;
        std::wstring text;
    };
    void Push(PromptAnswer a) { answers_.push_back(a); }
    const std::vector<Asked>& AskedPrompts() const { return asked_; }
    PromptAnswer Ask(PromptButtons buttons, const std::wstring& title, const std::wstring& text,
                     PromptAnswer defaultAnswer) override;

private:
    std::vector<PromptAnswer> answers_;
    std::vector<Asked> asked_;
};

// The plug-in configuration folder, with a trailing separator: $KT_HOST_CONFIG_DIR when set,
// else $XDG_CONFIG_HOME/kinetrope/, else $HOME/.config/kinetrope/. Created on first use.
std::string ConfigDir();

// Deletes every node (children before parents), resets the hold, the selection, the layers,
// time, animation range and animate mode. Broadcasts NOTIFY_SYSTEM_PRE_RESET and
// NOTIFY_SYSTEM_POST_RESET.
void ResetScene();
// As ResetScene, broadcasting NOTIFY_SYSTEM_PRE_NEW and NOTIFY_SYSTEM_POST_NEW instead.
void NewScene();

// Scene files. The descriptor the loader makes nodes with (a made node is outside the scene),
// and the hand-over of a loaded hierarchy: the loaded root's children become top-level nodes
// of the scene, every node below gets a new handle and its layer (by name, made if missing),
// and the loaded root is released.
::ClassDesc* NodeClassDesc();
void AdoptLoadedRoot(INode* loadedRoot);

// Headless view state for tests and the command line.
long RedrawCount();
const MSTR& CurrentPrompt();
struct ProgressState {
    bool active = false;
    MSTR title;
    int percent = 0;
};
const ProgressState& Progress();
void SetUIScaleFactor(float f);
void SetMainWindow(QWidget* w);

// The command panel's rollup pages (Interface::AddRollupPage), in the order shown; the Qt
// frame's panel shows them, headless runs read them here.
struct RollupPage {
    QWidget* widget = nullptr;
    MSTR title;
    DWORD flags = 0;
    int category = ROLLUP_CAT_STANDARD;
};
const std::vector<RollupPage>& RollupPages();
// What the motion panel edits now (a TM controller), or null.
Animatable* EditedInMotionPanel();

// Told of every change of the pages or the task mode. Not owned; remove before destruction.
class CommandPanelObserver {
public:
    virtual ~CommandPanelObserver() = default;
    virtual void RollupPageAdded(const RollupPage& page) { (void)page; }
    // Called before the page leaves; its widget is still alive.
    virtual void RollupPageDeleted(const RollupPage& page) { (void)page; }
    virtual void TaskModeChanged(int mode) { (void)mode; }
};
void AddCommandPanelObserver(CommandPanelObserver* o);
void RemoveCommandPanelObserver(CommandPanelObserver* o);

}  // namespace host
