#include <metal_stdlib>
using namespace metal;
#define INOUT thread
template <class T> void set(thread T& t, T v) { t = v; }
template <class T> void own(T& t, T* p) { t = *p; }
template <class T> void fwd(T&& t) { t = 1; }
template <typename F> void call(F f) { f(); }
struct S { float v; S() = default; S(const thread S& o) = default; thread S& operator+=(S o) { v += o.v; return *this; } };
void twice(INOUT float& x) { x *= 2; }
void rows(thread float (&m)[2][2], float thread *q, thread float* thread* r, thread const S * thread const & z) { m[0][0] = *q + **r + z->v; }
constant float table[2] = {1, 2};
constant float* pick(int i) { return table + i; }
typedef device float* Numbers;
using Reader = float (*)(float);
kernel void k(device float* a [[buffer(0)]], Numbers n [[buffer(1)]], uint i [[thread_position_in_grid]]) {
  float x = 1; thread float* p = &x; auto q = &x; auto& r = x; const auto& s = x; auto* t = a;
  float arr[3]; for (auto& e : arr) e = 1; for (thread float& e : arr) e = 1; S z; z += S(); thread S* y = &z;
  set(x, 2.0f); fwd(x); own(x, p); call([&] { x += 1; }); a[i] = *q + r + s + *t + *pick(1) + y->v; twice(x);
}
