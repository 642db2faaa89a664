// SPDX-License-Identifier: MIT
// Object and mesh functions, tile memory and patches: they compile beside kernels that run, one of
// which computes a tessellator's factors.
// run factors grid 4 group 4
// run heights grid 4 group 4
// buffer 0: in float2[1] = (2, 8)
// buffer 1: out half[24] == all [[2, 3, 2, 2, 8, 8 + k][j] for k in range(4) for j in range(6)]
// buffer 2: out float[4] == i * i
#include <metal_stdlib>
using namespace metal;

struct VertexData {
    float4 position [[position]];
    half3 color [[flat]];
};
struct PrimitiveData {
    uint id [[primitive_id]];
    bool isCulled [[primitive_culled]];
};
struct Payload {
    uint meshlets[32];
};
using TerrainMesh = mesh<VertexData, PrimitiveData, 64, 98, topology::triangle>;

[[object, max_total_threads_per_threadgroup(32), max_total_threadgroups_per_mesh_grid(16)]]
void terrainObject(object_data Payload& payload [[payload]], mesh_grid_properties grid,
                   ushort lane [[thread_index_in_simdgroup]]) {
    payload.meshlets[lane] = lane;
    if (lane == 31)
        grid.set_threadgroups_per_grid(uint3(32, 1, 1));
}

[[mesh, max_total_threads_per_threadgroup(64)]]
void terrainMesh(TerrainMesh output, object_data const Payload& payload [[payload]],
                 uint lid [[thread_index_in_threadgroup]],
                 uint tid [[threadgroup_position_in_grid]]) {
    VertexData v;
    v.position = float4(lid % 8, 0, lid / 8, 1);
    v.color = half3(payload.meshlets[tid] / 32.h);
    output.set_vertex(lid, v);
    output.set_indices(lid * 4, uchar4(0, 1, 2, 3));
    output.set_primitive(lid, PrimitiveData{lid, false});
    if (lid == 0)
        output.set_primitive_count(98);
}

struct Layers {
    rgba8unorm<half4> albedo [[color(1), raster_order_group(1)]];
    float depth [[color(3), raster_order_group(1)]];
};
struct TileOut {
    Layers layers [[imageblock_data]];
};
fragment TileOut writeLayers(VertexData in [[stage_in]], Layers before [[imageblock_data]]) {
    TileOut out;
    out.layers.albedo = half4(before.albedo) + half4(in.color, 1);
    out.layers.depth = in.position.z;
    return out;
}

kernel void resolve(imageblock<Layers> block, ushort2 p [[thread_position_in_threadgroup]]) {
    threadgroup_imageblock Layers* own = block.data(p);
    own->depth = 0;
}

struct ControlPoint {
    float4 position [[attribute(0)]];
};
struct Patch {
    patch_control_point<ControlPoint> points;
};
[[patch(quad, 4)]] vertex VertexData water(Patch patch [[stage_in]],
                                           float2 at [[position_in_patch]], uint id [[patch_id]]) {
    VertexData out;
    out.position = mix(patch.points[0].position, patch.points[2].position, at.x);
    out.color = half3(at.x, at.y, id);
    return out;
}
fragment float4 centered(interpolant<float4, interpolation::perspective> color [[user(color)]]) {
    return color.interpolate_at_center();
}

kernel void factors(constant float2& levels [[buffer(0)]],
                    device MTLQuadTessellationFactorsHalf* out [[buffer(1)]],
                    uint id [[thread_position_in_grid]]) {
    for (int i = 0; i < 4; ++i)
        out[id].edgeTessellationFactor[i] = half(levels.x) + (i == 1 ? 1.0h : 0.0h);
    out[id].insideTessellationFactor[0] = half(levels.y);
    out[id].insideTessellationFactor[1] = half(levels.y + id);
}

kernel void heights(device float* out [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    out[id] = id * id;
}
