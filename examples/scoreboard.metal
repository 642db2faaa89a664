// A scoreboard: numbers that change.
//
// intToString(number, text, place) writes a number into your text from that place on. It always
// writes four characters: up to three of them for the number, from -99 to 999, and then a zero,
// which is where strlen stops. Larger numbers go to the board three digits at a time.

int score() { return int(time * 1234); }

// Three digits with zeros in front: 7 becomes 007.
void threeDigits(int number, thread char* text, int place) {
    intToString(number / 100 % 10, text, place);
    intToString(number / 10 % 10, text, place + 1);
    intToString(number % 10, text, place + 2);
}

void drawScore() {
    // Room for six digits, and for what the last intToString writes behind its own.
    char digits[9];
    threeDigits(score() / 1000 % 1000, digits, 0);
    threeDigits(score() % 1000, digits, 3);
    float2 p = float2((resolution.x - stringWidth(6, 170)) / 2, 120);
    print(digits, 6, p + 5, float4(0, 0, 0, 0.5), 170, Bold);
    print(digits, 6, p, float4(1, 0.8, 0.3, 1), 170, Bold);
}

void drawTeam(thread char* name, int points, float2 p, float4 color) {
    rect(p, float2(360, 130), float4(0.12, 0.14, 0.2, 1), 12);
    rectb(p, float2(360, 130), color, 12, 3);
    print(name, strlen(name), p + float2(20, 20), color, 40, Bold);
    char text[8];
    intToString(points, text, 0);
    // strlen finds the end of the number, so that it can stand flush right.
    int length = strlen(text);
    print(text, length, p + float2(340 - stringWidth(length, 70), 45), float4(1), 70);
}

void fx() {
    cls(float3(0.05, 0.06, 0.1));
    char title[] = "TONIGHT";
    print(title, 7, float2((resolution.x - stringWidth(7, 60)) / 2, 40), float4(1), 60, Outline);
    // Numbers take some work, so that only those pixels make them that are near.
    if (coords.y < 320) {
        drawScore();
        return;
    }
    char home[] = "Comets";
    char away[] = "Owls";
    drawTeam(home, int(time * 40) % 1000, float2(90, 340), float4(0.4, 0.9, 0.7, 1));
    drawTeam(away, int(-42 + 90 * sin(time)) % 100, float2(510, 340), float4(1, 0.5, 0.5, 1));
}
