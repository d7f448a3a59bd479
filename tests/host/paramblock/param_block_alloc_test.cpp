// Reads of numbers, points, colours and matrices sit on evaluation paths that run every frame
// for every parameter: they must not allocate. Global new is counted while a scope asks.
#include "pb_test_objects.h"

#include <cstdlib>
#include <new>

namespace {
long g_allocs = 0;
bool g_counting = false;

struct CountAllocations {
    CountAllocations() {
        g_allocs = 0;
        g_counting = true;
    }
    ~CountAllocations() { g_counting = false; }
    long Count() const { return g_allocs; }
};
}  // namespace

void* operator new(std::size_t n) {
    if (g_counting) ++g_allocs;
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
// GCC cannot tell that these pair with the replacement new above.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

using namespace pbtest;

namespace {
class Allocations : public PBTest {};
}  // namespace

TEST_F(Allocations, HotReadsAllocateNothing) {
    Accessor() = ProbeAccessor();
    Owner* owner = NewOwner();
    IParamBlock2* pb = owner->pb;
    auto* c = new TestFloat();
    c->keys = {{0, 1.0f}, {100, 2.0f}};
    pb->SetController(pb_angle, 0, c);
    pb->SubAnim(0);  // the placeholder exists from now on

    float sum = 0.0f;
    long allocs;
    {
        CountAllocations count;
        for (TimeValue t = 0; t < 200; t += 10) {
            Interval iv = FOREVER;
            float f = 0.0f;
            int i = 0;
            Point3 p;
            Color col;
            AColor ac;
            Matrix3 m;
            pb->GetValue(pb_float, t, f, iv);  // through the accessor
            sum += f;
            pb->GetValue(pb_angle, t, f, iv);  // through a controller
            sum += f;
            pb->GetValue(pb_pcnt, t, f, iv);
            pb->GetValue(pb_int, t, i, iv);
            pb->GetValue(pb_float_tab, t, f, iv, 1);
            pb->GetValue(pb_point3, t, p, iv);
            pb->GetValue(pb_rgba, t, col, iv);
            pb->GetValue(pb_frgba, t, ac, iv);
            pb->GetValue(pb_matrix, t, m, iv);
            sum += pb->GetFloat(pb_world, t) + static_cast<float>(pb->GetInt(pb_bool, t)) + p.x + col.r + ac.a;
            sum += pb->GetPoint3(pb_point3, t).z + pb->GetColor(pb_rgba, t).g;
            sum += pb->GetController(pb_angle) ? 1.0f : 0.0f;
            sum += pb->GetINode(pb_node, t) ? 1.0f : 0.0f;
            sum += pb->SubAnim(0) ? 1.0f : 0.0f;
        }
        allocs = count.Count();
    }
    EXPECT_EQ(allocs, 0);
    EXPECT_GT(sum, 0.0f);
    owner->DeleteMe();
}
