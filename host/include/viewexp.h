// A viewport: the view (where the eye is, perspective or orthographic), the window size in
// pixels, and the graphics window objects draw into (getGW).
//
// Spaces: world is Z-up. View space has the eye at the origin looking down -Z, X to the right
// and Y up on screen; GetAffineTM maps world to view (p_view = p_world * tm). Screen space is in
// pixels with y down (gfx.h).
//
// Standard views look at the origin: front along +Y (X right, Z up), back along -Y, left along
// +X (-Y right), right along -X, top along -Z (X right, Y up), bottom along +Z, and the user
// perspective from (+X, -Y, +Z) towards the origin with a 45 degree field of view.
#pragma once

#include "box3.h"
#include "gfx.h"
#include "matrix3.h"
#include "point3.h"

#include <vector>

class INode;

enum ViewType {
    VIEW_LEFT,
    VIEW_RIGHT,
    VIEW_TOP,
    VIEW_BOTTOM,
    VIEW_FRONT,
    VIEW_BACK,
    VIEW_ISO_USER,
    VIEW_PERSP_USER,
    VIEW_CAMERA,
    VIEW_OTHER,
};

// Display flags the viewport passes to Display.
constexpr int USE_DAMAGE_RECT = 1 << 0;
constexpr int DISP_SHOWSUBOBJECT = 1 << 3;

class ViewExp {
public:
    // 640 x 480, the perspective user view.
    ViewExp();
    virtual ~ViewExp();
    ViewExp(const ViewExp&) = delete;
    ViewExp& operator=(const ViewExp&) = delete;

    // World to view.
    virtual void GetAffineTM(Matrix3& tm) const { tm = affine_; }
    virtual BOOL IsPerspView() const { return persp_ ? TRUE : FALSE; }
    // Horizontal field of view in radians (perspective views).
    virtual float GetFOV() const { return fov_; }
    virtual int GetViewType() const { return type_; }
    // TRUE when meshes draw as wireframe, FALSE when shaded.
    virtual BOOL IsWire() const { return wire_ ? TRUE : FALSE; }

    // The world width the viewport spans at the depth of a world point: in a perspective view
    // proportional to the point's distance in front of the eye (never below that of the near
    // plane), in an orthographic view the view's width wherever the point is. Never zero.
    virtual float GetVPWorldWidth(const Point3& wPoint) const;
    // The same factor under the name objects of constant screen size use.
    virtual float GetScreenScaleFactor(const Point3& wPoint) const { return GetVPWorldWidth(wPoint); }
    // The user's size preference for objects drawn at constant screen size (1 by default).
    // Such an object scales itself by NonScalingObjectSize() * GetVPWorldWidth(p) / 360.
    virtual float NonScalingObjectSize() const { return nonScaling_; }

    // A screen point (pixels) at a view depth (distance in front of the eye, > 0) in view space.
    // In an orthographic view depth only sets z.
    virtual Point3 MapScreenToView(const IPoint2& sp, float depth) const;
    // The world ray under a screen point: from the eye (perspective) or from the view plane
    // through the point (orthographic), dir normalised and pointing away from the viewer.
    virtual void MapScreenToWorldRay(float sx, float sy, Ray& ray) const;
    // A world point on screen: x, y in pixels, z its view depth (distance in front of the eye;
    // negative behind it).
    virtual Point3 MapWorldToScreen(const Point3& wp) const;

    virtual GraphicsWindow* getGW() { return &gw_; }

    // ---- Host side: setting the view up.
    void host_SetSize(int width, int height);
    int host_Width() const { return width_; }
    int host_Height() const { return height_; }
    // A standard view of type VIEW_LEFT..VIEW_BACK or VIEW_PERSP_USER, looking at the origin.
    void host_SetViewType(ViewType type);
    // Any view: world to view matrix, perspective with a horizontal field of view (radians) or
    // orthographic with the world width the window spans.
    void host_SetPerspective(const Matrix3& affineTM, float fov);
    void host_SetOrthographic(const Matrix3& affineTM, float worldWidth);
    // Keeps the direction and projection and moves (perspective) or scales (orthographic) the
    // view so that box fills the window with a margin. An empty box leaves the view.
    void host_ZoomExtents(const Box3& worldBox);
    void host_SetWire(bool wire) { wire_ = wire; }
    // Lines from each node's pivot to its parent's (COLOR_LINK_LINES); off by default. Links
    // are drawn, never hit.
    void host_SetShowLinks(bool show) { links_ = show; }
    bool host_ShowLinks() const { return links_; }
    void host_SetNonScalingObjectSize(float s) { nonScaling_ = s; }
    // The distance of the near clipping plane in front of the eye (perspective views).
    float host_NearPlane() const { return nearPlane_; }
    // Pixels per world unit at view depth d (> 0; orthographic views ignore it).
    float host_PixelsPerUnit(float depth) const;
    // Empties the graphics window's draw list and sizes it to the window; the background is
    // COLOR_VP_BACKGROUND.
    void host_BeginFrame();
    // The node of the last Interface::PickNode in this view (null when it hit nothing).
    INode* GetClosestHit() const { return closestHit_; }
    void host_SetClosestHit(INode* node) { closestHit_ = node; }

private:
    // After any change of the view: the projection scale and the window's transform.
    void updateScale();

    Matrix3 affine_;
    float unitScale_ = 1.0f;  // pixels per unit: at depth 1 (perspective) or anywhere (orthographic)
    bool persp_ = true;
    float fov_ = 0.785398163f;
    float orthoWidth_ = 400.0f;
    float nearPlane_ = 0.1f;
    int type_ = VIEW_PERSP_USER;
    int width_ = 640;
    int height_ = 480;
    bool wire_ = true;
    bool links_ = false;
    float nonScaling_ = 1.0f;
    INode* closestHit_ = nullptr;
    GraphicsWindow gw_;
};

// Decides which nodes Interface::PickNode may answer.
class PickNodeCallback {
public:
    virtual ~PickNodeCallback() = default;
    virtual BOOL Filter(INode* node) = 0;
};

namespace host {

// Draws every node of the scene at t that is not hidden: each node's evaluated object
// (EvalWorldState) draws itself through Display, then its transform controller's Display.
// Empties the window's draw list first. Render limits are reset before each call: GW_Z_BUFFER
// and GW_WIREFRAME, or GW_ILLUM | GW_FLAT in a shaded view.
void DrawScene(ViewExp& vpt, TimeValue t);

// Hit tests every visible, unfrozen node at t with the region of MakeHitRegion(type, crossing,
// PickTolerance(), p) (HitTest on each node's evaluated object, then on its transform
// controller when the object is missed) and answers the hit with the smallest pixel distance, nearer depth breaking ties;
// null when nothing is hit. filter may be null. flags are HitTest's: HIT_SELONLY tests selected
// nodes only, HIT_UNSELONLY unselected ones only; all flags reach the objects' HitTest.
INode* PickSceneNode(ViewExp& vpt, TimeValue t, int type, int crossing, IPoint2* p,
                     PickNodeCallback* filter = nullptr, int flags = 0);
// Every node hit by a box, circle or fence region (window or crossing), in hierarchy order;
// flags as for PickSceneNode, and HIT_ABORTONHIT stops at the first node hit.
void PickSceneNodes(ViewExp& vpt, TimeValue t, int type, int crossing, IPoint2* p, std::vector<INode*>& out,
                    int flags = 0);

// A click at p in vpt under the active pick mode: the mode's HitTest, then its Pick when
// something was hit; a Pick that answers TRUE ends the mode. False when no mode is active or
// nothing was picked.
bool PickModeClick(ViewExp& vpt, const IPoint2& p);
// A right click: the mode ends if its RightClick says so.
void PickModeRightClick(ViewExp& vpt);

// The world box of every visible node at t (GetWorldBoundBox of each evaluated object and of
// the transform controller; an object without a box counts as its pivot). Empty for an empty
// scene.
Box3 SceneWorldBox(ViewExp& vpt, TimeValue t);

// The pixel tolerance objects give MakeHitRegion in HitTest (4 by default).
int PickTolerance();
void SetPickTolerance(int pixels);

// The colour a node draws in: frozen colour, selection colour, or its wire colour.
Point3 NodeDrawColor(INode* node);

}  // namespace host
