// SPDX-License-Identifier: MIT
// Kernels that encode commands or call functions out of tables compile; those beside them run, among
// them one that calls such functions directly, and one that writes messages for a log.
// run shade grid 4 group 4
// run move grid 4 group 4
// buffer 0: out float[4] == (0.5 if i % 2 == 0 else 1.5) * (i + 1)
// buffer 1: inout {float float float uint}[4] = (i, 2, 1, 3) == (i + 0.5, 2.5, 1, 3)
// buffer 2: in float[1] = 0.5
#include <metal_stdlib>
#include <metal_command_buffer>
#include <metal_logging>
using namespace metal;

constant os_log logger("com.example.renderer", "kernels");

struct Object {
    packed_float2 position;
    float radius;
    uint32_t vertices;
};
struct Commands {
    command_buffer buffer [[id(0)]];
    render_pipeline_state pipeline [[id(1)]];
};

kernel void encode(uint id [[thread_position_in_grid]], constant Object* objects [[buffer(0)]],
                   device float4* vertices [[buffer(1)]], device Commands& commands [[buffer(2)]]) {
    render_command command(commands.buffer, id);
    if (abs(objects[id].position[0]) < objects[id].radius) {
        command.set_render_pipeline_state(commands.pipeline);
        command.set_vertex_buffer(vertices, 0);
        command.draw_primitives(primitive_type::triangle, 0, objects[id].vertices, 1, id);
    } else {
        command.reset();
    }
}

[[visible]] float dim(float x) {
    return 0.5f * x;
}
[[visible]] float bright(float x) {
    return 1.5f * x;
}
[[stitchable]] half4 ripple(float2 position, half4 color, float time) {
    return color * half(0.5 + 0.5 * sin(length(position) - time));
}

kernel void shadeByTable(visible_function_table<float(float)> functions [[buffer(3)]],
                         device float* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    out[id] = functions[id % functions.size()](float(id + 1));
}

kernel void shade(device float* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    out[id] = id % 2 == 0 ? dim(id + 1) : bright(id + 1);
    if (isnan(out[id]))
        logger.log_error("%u is %f", id, out[id]);
}

kernel void move(device Object* objects [[buffer(1)]], constant float& dt [[buffer(2)]],
                 uint id [[thread_position_in_grid]]) {
    os_log_default.log("moving %u", id);
    objects[id].position += float2(dt);
}
