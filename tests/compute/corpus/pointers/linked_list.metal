// SPDX-License-Identifier: MIT
// Lists and trees in private memory: pointers that are stored, loaded, chosen and compared with null.
// grid 64 group 32
// buffer 0: in int[256] = i * 37 % 101
// buffer 1: out int[64] == i * 3 + sum(10 ** k * (k + 1) for k in range(3))
// buffer 2: out int[64] == len([k for k in range(4) if values(i)[k] % 3 != i % 3]) * 1000 + sum(v for v in values(i) if v % 3 != i % 3)
// buffer 3: out int[64] == sum(v * 5 ** k for k, v in enumerate(sorted(values(i)))) * 10 + depth(i)
// python
// def values(i):
//     return [b0[i * 4 + k] for k in range(4)]
// def depth(i):
//     tree = {}
//     deepest = 0
//     for v in values(i):
//         path = ()
//         while path in tree:
//             path += (v >= tree[path],)
//         tree[path] = v
//         deepest = max(deepest, len(path) + 1)
//     return deepest
// end
#include <metal_stdlib>
using namespace metal;

struct Node {
    thread Node* next;
    int value;
};

struct Branch {
    int value;
    thread Branch* sides[2];
};

static int sorted(thread Branch* tree) {
    thread Branch* above[4];
    int count = 0, sum = 0, factor = 1;
    while (tree || count) {
        while (tree) {
            above[count++] = tree;
            tree = tree->sides[0];
        }
        tree = above[--count];
        sum += tree->value * factor;
        factor *= 5;
        tree = tree->sides[1];
    }
    return sum;
}

kernel void lists(const device int* in [[buffer(0)]], device int* sums [[buffer(1)]],
                  device int* kept [[buffer(2)]], device int* trees [[buffer(3)]],
                  uint i [[thread_position_in_grid]]) {
    Node nodes[4];
    int factor = 1;
    for (int n = 0; n < 3; ++n, factor *= 10) {
        nodes[n].next = n < 2 ? &nodes[n + 1] : nullptr;
        nodes[n].value = int(i) + factor * (n + 1);
    }
    int sum = 0;
    for (thread Node* p = &nodes[0]; p; p = p->next)
        sum += p->value;
    sums[i] = sum;

    // Every thread leaves out other members of its list.
    for (int n = 0; n < 4; ++n) {
        nodes[n].next = n == 3 ? nullptr : nodes + n + 1;
        nodes[n].value = in[i * 4 + n];
    }
    thread Node* head = nodes;
    while (head && head->value % 3 == int(i % 3))
        head = head->next;
    for (thread Node* p = head; p != nullptr;)
        if (p->next && p->next->value % 3 == int(i % 3))
            p->next = p->next->next;
        else
            p = p->next;
    int length = 0, total = 0;
    for (thread Node* p = head; p; p = p->next, ++length)
        total += p->value;
    kept[i] = length * 1000 + total;

    Branch branches[4];
    int deepest = 0;
    thread Branch* root = nullptr;
    for (int n = 0; n < 4; ++n) {
        branches[n] = Branch{in[i * 4 + n], {nullptr, nullptr}};
        int depth = 1;
        thread Branch* at = root;
        if (!root)
            root = &branches[n];
        while (at) {
            thread Branch* thread& side = at->sides[branches[n].value >= at->value];
            ++depth;
            if (!side) {
                side = &branches[n];
                break;
            }
            at = side;
        }
        deepest = max(deepest, depth);
    }
    trees[i] = sorted(root) * 10 + deepest;
}
