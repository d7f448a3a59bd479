// The library's class registry: 70 class descriptors in the fixed order of
// LibClassDesc, built from one table of rows.
//
// The descriptors exist from static initialisation on (the registry is built on first
// use), so parameter block and interface descriptions may attach themselves to their
// descriptor from their own constructors. A class's implementation makes its objects
// by attaching a factory to its row; until one is attached, Create answers null.
#pragma once

#include <cstddef>
#include "iplugin.h"

namespace kt {

// Number of classes the library registers.
constexpr unsigned kNumClasses = 70;

// One registry row. Display names come from the string table by id; the script name
// is a constant, or the display name's entry again where scriptFromTable is set.
struct ClassRow {
    const char* cppName;        // the class that implements the row
    int displayNameId;          // string-table id of ClassName()
    const MCHAR* scriptName;    // NonLocalizedClassName()
    bool scriptFromTable;       // script name read from displayNameId (custom attributes)
    SClass_ID superClassId;
    Class_ID classId;
    const MCHAR* category;      // Create panel group; empty when not created there
    bool isPublic;
};

// Makes a new object of a row's class; `loading` skips building default sub-objects.
using ClassCreateFn = void* (*)(BOOL loading);
// Builds the Qt rollup of one parameter map; null when the class has none for it.
using QtWidgetCreateFn = MaxSDK::QMaxParamBlockWidget* (*)(ReferenceMaker& owner, IParamBlock2& paramBlock,
                                                           MapID paramMapID, MSTR& rollupTitle, int& rollupFlags,
                                                           int& rollupCategory);

// A descriptor that answers from its row and the factories attached to it.
class RegistryClassDesc : public ClassDesc2 {
public:
    explicit RegistryClassDesc(const ClassRow& row) : row_(row) {}

    int IsPublic() override { return row_.isPublic ? 1 : 0; }
    // A new object from the attached factory; null while none is attached.
    void* Create(BOOL loading = FALSE) override { return create_ ? create_(loading) : nullptr; }
    // From the string table: shares its buffer, and is null before the module handle is known.
    const MCHAR* ClassName() override;
    const MCHAR* NonLocalizedClassName() override;
    SClass_ID SuperClassID() override { return row_.superClassId; }
    Class_ID ClassID() override { return row_.classId; }
    const MCHAR* Category() override { return row_.category; }
    int BeginCreate(IObjParam* ip) override { (void)ip; return 0; }
    int EndCreate(IObjParam* ip) override { (void)ip; return 0; }
    BOOL OkToCreate(IObjParam* ip) override { (void)ip; return TRUE; }
    HINSTANCE HInstance() override;
    // Parameter and block names come from the library's string table (same buffer rules).
    const MCHAR* GetRsrcString(INT_PTR id) override;
    MaxSDK::QMaxParamBlockWidget* CreateQtWidget(ReferenceMaker& owner, IParamBlock2& paramBlock, MapID paramMapID,
                                                 MSTR& rollupTitle, int& rollupFlags, int& rollupCategory) override;

    const ClassRow& Row() const { return row_; }
    bool HasFactory() const { return create_ != nullptr; }

private:
    friend class ClassRegistry;
    const ClassRow& row_;
    ClassCreateFn create_ = nullptr;
    QtWidgetCreateFn qtWidget_ = nullptr;
};

class ClassRegistry {
public:
    // The row at `index` of the table the descriptors are built from, in LibClassDesc
    // order; throws std::out_of_range for an index of kNumClasses or above.
    static const ClassRow& RowAt(unsigned index);
    // The descriptor at `index`, or null for an index of kNumClasses or above.
    static RegistryClassDesc* DescAt(unsigned index);
    // The descriptor with this identity, or null.
    static RegistryClassDesc* Find(SClass_ID superClassId, Class_ID classId);
    // Index of the descriptor with this identity, or -1.
    static int IndexOf(SClass_ID superClassId, Class_ID classId);

    // Attaches a factory to the row with this identity; false when no row has it or a
    // factory is already attached (a second one would be a wiring mistake).
    static bool AttachFactory(SClass_ID superClassId, Class_ID classId, ClassCreateFn create);
    static bool AttachQtWidgetFactory(SClass_ID superClassId, Class_ID classId, QtWidgetCreateFn create);
};

// Attaches a factory from a static initialiser:
//   static kt::ClassFactoryRegistrar reg(CTRL_FLOAT_CLASS_ID, STATIC_FLOAT_CLASS_ID,
//                                        [](BOOL loading) -> void* { return new StaticFloat(loading); });
struct ClassFactoryRegistrar {
    ClassFactoryRegistrar(SClass_ID superClassId, Class_ID classId, ClassCreateFn create,
                          QtWidgetCreateFn qtWidget = nullptr);
    bool attached;
};

}  // namespace kt
