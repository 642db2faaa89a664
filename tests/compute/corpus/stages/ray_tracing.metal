// SPDX-License-Identifier: MIT
// A renderer's file: what traces rays compiles and does not run, the kernel beside it does.
// run accumulate grid 4x4 group 4x4
// buffer 0: in {float4 uint uint uint uint}[1] = (0, 0, 0, 0, 4, 4, 3, 0)
// texture 0: in 2d rgba32float 4x4 = (x, y, 1, 1)
// texture 1: inout 2d rgba32float 4x4 = (4, 8, x, 1) == ((x + 12) / 4, (y + 24) / 4, (1 + 3 * x) / 4, 1)
#include <metal_stdlib>
#include <metal_raytracing>
#include <simd/simd.h>
using namespace metal;
using namespace raytracing;

struct Uniforms {
    vector_float4 camera;
    uint width, height, frame;
};
struct Payload {
    float3 color;
};

[[intersection(bounding_box, triangle_data, instancing)]]
bool sphere(float3 origin [[origin]], float3 direction [[direction]], float least [[min_distance]],
            uint primitive [[primitive_id]], ray_data Payload& payload [[payload]],
            device const float4* spheres [[buffer(0)]]) {
    payload.color = float3(primitive);
    return length(spheres[primitive].xyz - origin) > least;
}

kernel void trace(uint2 tid [[thread_position_in_grid]], constant Uniforms& u [[buffer(0)]],
                  texture2d<float, access::write> target [[texture(0)]],
                  instance_acceleration_structure scene [[buffer(4)]],
                  intersection_function_table<triangle_data, instancing> table [[buffer(5)]]) {
    ray r;
    r.origin = u.camera.xyz;
    r.direction = normalize(float3(float2(tid) / float2(u.width, u.height), 1));
    r.min_distance = 0.001f;
    r.max_distance = INFINITY;
    intersector<triangle_data, instancing> i;
    i.assume_geometry_type(geometry_type::triangle | geometry_type::bounding_box);
    i.force_opacity(forced_opacity::opaque);
    Payload payload;
    typename intersector<triangle_data, instancing>::result_type hit;
    hit = i.intersect(r, scene, 0xff, table, payload);
    intersection_query<triangle_data, instancing> query;
    query.reset(r, scene);
    while (query.next())
        if (query.get_candidate_intersection_type() == intersection_type::triangle)
            query.commit_triangle_intersection();
    if (hit.type != intersection_type::none)
        target.write(float4(hit.triangle_barycentric_coord, hit.distance, hit.primitive_id), tid);
}

kernel void accumulate(texture2d<float> a [[texture(0)]],
                       texture2d<float, access::read_write> b [[texture(1)]],
                       constant Uniforms& u [[buffer(0)]], uint2 t [[thread_position_in_grid]]) {
    if (t.x < u.width && t.y < u.height)
        b.write((a.read(t) + b.read(t) * float(u.frame)) / float(u.frame + 1), t);
}
