// What the multi-target constraints share: the six-function target-list interface that
// ParentConstraint, ScaleConstraint and TransformConstraint publish as "constraints", the
// cycle validator of their node parameters, and the table edits behind the interface.
//
// The blocks of all three keep the same ids for the list: 0 weight (float table), 1
// target_list (node table), 2 relative. Indexes are 0-based here and 1-based in scripts.
#pragma once

#include "decomp.h"
#include "ifnpub.h"
#include "iosave.h"
#include "iparamb2.h"

class INode;
class ViewExp;

namespace kt {

// Published functions, in id order.
class ITargetListConstraint : public FPMixinInterface {
public:
    enum FunctionIDs { getNumTargets_id = 0, getNode_id, getWeight_id, setWeight_id, appendTarget_id, deleteTarget_id };

    virtual int getNumTargets() = 0;
    // Null for an index out of range (or a deleted target).
    virtual INode* getNode(int nodeNumber) = 0;
    // The weight at the current time; 0 for an index out of range.
    virtual float getWeight(int targetNumber) = 0;
    // False, and nothing changes, for an index out of range. One undo step; keys under animate.
    virtual bool setWeight(int targetNumber, float weight) = 0;
    // False, with no message, for a target that depends on this controller or is already listed.
    virtual bool appendTarget(INode* target, float weight) = 0;
    virtual bool deleteTarget(int targetNumber) = 0;

    BEGIN_FUNCTION_MAP
    FN_0(getNumTargets_id, TYPE_INT, getNumTargets)
    FN_1(getNode_id, TYPE_INODE, getNode, TYPE_INDEX)
    FN_1(getWeight_id, TYPE_FLOAT, getWeight, TYPE_INDEX)
    FN_2(setWeight_id, TYPE_bool, setWeight, TYPE_INDEX, TYPE_FLOAT)
    FN_2(appendTarget_id, TYPE_bool, appendTarget, TYPE_INODE, TYPE_FLOAT)
    FN_1(deleteTarget_id, TYPE_bool, deleteTarget, TYPE_INDEX)
    END_FUNCTION_MAP
};

// Builds the "constraints" description of one class (the six functions above).
FPInterfaceDesc* MakeTargetListInterface(Interface_ID id, ClassDesc2* cd);

// Refuses a node that depends on the block's owner (the host's dependency test); other
// values pass. One instance serves every constraint block.
class ConstraintCycleValidator : public PBValidator {
public:
    BOOL Validate(PB2Value& v) override;
    BOOL Validate(PB2Value& v, ReferenceMaker* owner, ParamID id, int tabIndex) override;
};
ConstraintCycleValidator& CycleValidator();

// The world matrix `world` after the host's packet: move by tmAxis-turned p, rotate or scale
// in tmAxis space (about the node's own pivot with localOrigin), or set to tmAxis.
Matrix3 ApplyPacket(const SetXFormPacket& pk, const Matrix3& world);

// The viewline of the aim constraints: from the node's pivot along its aim axis (flipped with
// flip), `length` world units long, or with `absolute` off that percentage of the distance to
// `target` (nothing without one). Answers 1 when something was drawn.
int DrawViewline(ViewExp* vpt, const Matrix3& nodeTM, int aimAxis, bool flip, float length, bool absolute,
                 INode* target, TimeValue t);

// A controller's owning node: the dependent node whose TM controller it is; null if none.
INode* OwnerNodeOf(ReferenceTarget* ctrl);

// Tells the open rollup (if any) that the list or the weights changed.
class ConstraintRollupLink {
public:
    virtual ~ConstraintRollupLink() = default;
    virtual void RefreshList() = 0;
};

// The list edits of the three constraints, on block ids 0 (weight), 1 (target_list).
namespace targetlist {
constexpr ParamID kWeight = 0;
constexpr ParamID kTargets = 1;
constexpr ParamID kRelative = 2;

int Count(IParamBlock2* pb);
// Whether `target` may join owner's list: not a node that depends on owner, not one already
// listed. A null target (an empty slot) is allowed.
bool CanAppend(ReferenceTarget* owner, IParamBlock2* pb, INode* target);
// Grows target_list and weight by one entry.
void Append(IParamBlock2* pb, INode* target, float weight);
// Removes entry i of target_list and weight.
void Delete(IParamBlock2* pb, int i);
float Weight(IParamBlock2* pb, TimeValue t, int i, float pastTable, Interval& valid);
// Entry i of target_list, or null when i is outside the list.
INode* Node(IParamBlock2* pb, int i);
// Entry i of weight at the current time; 0 outside the table.
float CurrentWeight(IParamBlock2* pb, int i);
// Sets entry i of weight at the current time as one "Constraint Change" hold; false (nothing
// held) outside the table.
bool SetCurrentWeight(IParamBlock2* pb, int i, float weight);
// Closes the hold of a list edit under the "Constraint Change" name.
void AcceptChange();
}  // namespace targetlist

// A running weighted blend of decomposed matrices: position and scale by weight, rotation and
// stretch rotation by successive slerps, each entry in proportion to its share of the sum so far.
struct PartsBlend {
    Point3 pos{0.0f, 0.0f, 0.0f}, scale{0.0f, 0.0f, 0.0f};
    Quat rot, stretch;
    float sum = 0.0f;

    void Add(const AffineParts& ap, float w) {
        sum += w;
        const float f = sum != 0.0f ? w / sum : 0.0f;
        pos += ap.t * w;
        scale += ap.k * w;
        Quat q = ap.q;
        q.Normalize();
        q.MakeClosest(rot);
        rot = Slerp(rot, q, f);
        rot.Normalize();
        Quat u = ap.u;
        u.Normalize();
        u.MakeClosest(stretch);
        stretch = Slerp(stretch, u, f);
        stretch.Normalize();
    }
    // The blended parts; meaningful only while sum is not 0.
    AffineParts Parts() const {
        AffineParts out;
        out.t = pos / sum;
        out.k = scale / sum;
        out.q = rot;
        out.u = stretch;
        return out;
    }
};

// Plain-data chunks of the constraints' own state. ReadChunk refuses (IO_ERROR) a chunk whose
// size is not the value's.
template <class T>
void WriteChunk(ISave* isave, USHORT id, const T& v) {
    ULONG nb = 0;
    isave->BeginChunk(id);
    isave->Write(&v, sizeof(T), &nb);
    isave->EndChunk();
}
template <class T>
IOResult ReadChunk(ILoad* iload, T& v) {
    if (iload->CurChunkLength() != sizeof(T)) return IO_ERROR;
    ULONG nb = 0;
    IOResult r = iload->Read(&v, sizeof(T), &nb);
    return r == IO_OK && nb == sizeof(T) ? IO_OK : IO_ERROR;
}
// A flag is stored as an int; a failed read leaves it false.
inline void WriteFlagChunk(ISave* isave, USHORT id, bool v) { WriteChunk(isave, id, static_cast<int>(v)); }
inline IOResult ReadFlagChunk(ILoad* iload, bool& v) {
    int flag = 0;
    const IOResult r = ReadChunk(iload, flag);
    v = flag != 0;
    return r;
}
// Opens each chunk in turn and hands its id to read, which answers IO_OK for ids it skips.
// Stops at the first failure and answers it; IO_OK once the chunks are used up.
template <class F> IOResult ReadChunks(ILoad* iload, F&& read) {
    IOResult res;
    while ((res = iload->OpenChunk()) == IO_OK) {
        res = read(iload->CurChunkID());
        iload->CloseChunk();
        if (res != IO_OK) return res;
    }
    return res == IO_END ? IO_OK : res;
}

}  // namespace kt
