// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Keyboard and mouse.

// Keyboard and mouse

bool keydown(int keyValue) {
    return keyboard->state[keyValue];
}

bool keydown(char keyValue) {
    return keyboard->state[int(keyValue)];
}

bool keystroke(int keyValue) {
    return keyboard->pressed[keyValue];
}

bool keystroke(char keyValue) {
    return keyboard->pressed[int(keyValue)];
}

float2 mousepos() {
    return mouse->location;
}

bool2 mousebutton() {
    return bool2(mouse->leftButton, mouse->rightButton);
}

bool2 mouseclick() {
    return bool2(mouse->leftClick, mouse->rightClick);
}

