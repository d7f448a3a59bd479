// Object base behaviour shared by every object, and the registration of the host's object,
// mesh, helper, primitive and modifier classes.
#include "maxapi.h"
#include "objects_internal.h"
#include "polyobj.h"
#include "shape.h"
#include "triobj.h"

void Object::GetDeformBBox(TimeValue t, Box3& box, Matrix3* tm, BOOL useSel) {
    (void)t;
    (void)useSel;
    box.Init();
    const int n = NumPoints();
    for (int i = 0; i < n; ++i) box += tm ? GetPoint(i) * *tm : GetPoint(i);
}

ParamBlockDesc2& host::objects::NewAutoBlock(ClassDesc2* cd) {
    auto* d = new ParamBlockDesc2();
    d->ID = 0;
    d->int_name = L"params";
    d->cd = cd;
    d->flags = P_AUTO_CONSTRUCT;
    d->ref_no = 0;
    cd->AddParamBlockDesc(d);
    return *d;
}

TimeValue host::objects::CurrentTime() {
    Interface* ip = GetCOREInterface();
    return ip ? ip->GetTime() : 0;
}

void host::objects::RegisterMeshClasses(host::ClassDirectory& dir) {
    static ObjectClassDesc<TriObject> tri(L"Mesh", L"TriMeshGeometry", GEOMOBJECT_CLASS_ID, triObjectClassID, L"",
                                          false);
    static ObjectClassDesc<EditTriObject> editTri(L"Editable Mesh", L"Editable_Mesh", GEOMOBJECT_CLASS_ID,
                                                  EDITTRIOBJ_CLASS_ID, L"");
    static ObjectClassDesc<PolyObject> poly(L"Poly", L"PolyMeshObject", GEOMOBJECT_CLASS_ID, polyObjectClassID, L"",
                                            false);
    static ObjectClassDesc<EditPolyObject> editPoly(L"Editable Poly", L"Editable_Poly", GEOMOBJECT_CLASS_ID,
                                                    EPOLYOBJ_CLASS_ID, L"");
    static ObjectClassDesc<SplineShape> spline(L"Editable Spline", L"SplineShape", SHAPE_CLASS_ID,
                                               splineShapeClassID, L"Shapes");
    dir.AddClass(&tri);
    dir.AddClass(&spline);
    dir.AddClass(&editTri);
    dir.AddClass(&poly);
    dir.AddClass(&editPoly);
}

namespace {
// The classes are there as soon as the host library is loaded.
const struct AutoRegister {
    AutoRegister() {
        host::ClassDirectory& dir = host::ClassDirectory::Get();
        host::objects::RegisterDerivedObjectClass(dir);
        host::objects::RegisterMeshClasses(dir);
        host::objects::RegisterHelperClasses(dir);
        host::objects::RegisterPrimitiveClasses(dir);
        host::objects::RegisterModifierClasses(dir);
    }
} g_autoRegister;
}  // namespace
