// A page of type: four styles, from headline to small print.
//
// A text is an array of characters of your own, so it gets a name first:
//     char word[] = "HELLO";
//     print(word, 5, float2(20, 20), float4(1));
// The number is how many characters to draw; strlen(word) counts them for you. Then come the top
// left corner, the colour, the height of a line in pixels (30 unless you say), and the style.

constant float4 ink = {0.16, 0.13, 0.12, 1};
constant float4 red = {0.75, 0.2, 0.14, 1};

void headline() {
    char title[] = "Moonlight";
    // Centred: half of what is left of the screen's width goes to the left.
    float x = (resolution.x - stringWidth(9, 120)) / 2;
    print(title, 9, float2(x + 4, 14), float4(0.85, 0.77, 0.65, 1), 120, Bold);
    print(title, 9, float2(x, 10), red, 120, Outline);
}

void styles() {
    if (coords.y < 145 || coords.y > 285) // nothing to do for pixels elsewhere
        return;
    char regular[] = "Regular for reading";
    char bold[] = "Bold for shouting";
    char italic[] = "Italic for whispering";
    char outline[] = "Outline for showing off";
    print(regular, strlen(regular), float2(60, 145), ink);
    print(bold, strlen(bold), float2(60, 180), ink, 30, Bold);
    print(italic, strlen(italic), float2(60, 215), ink, 30, Italic);
    print(outline, strlen(outline), float2(60, 250), ink, 30, Outline);
}

void sizes() {
    // One text in a loop, each line somewhat smaller than the one before.
    char pangram[] = "Quick wizards fix jumpy boxes: 0123456789";
    int length = strlen(pangram); // counting takes time, so count once
    float y = 300;
    for (float size = 30; size >= 10; size *= 0.8) {
        print(pangram, length, float2(60, y), ink, size);
        y += size + 4;
    }
}

void everything() {
    if (coords.y < 435)
        return;
    // All 95 characters: a char is a number, too, and ' ' is the first that has a picture.
    char row[19];
    for (int line = 0; line < 5; line++) {
        for (int i = 0; i < 19; i++)
            row[i] = ' ' + line * 19 + i;
        print(row, 19, float2(60, 435 + line * 18), red, 18);
        print(row, 19, float2(520, 435 + line * 18), red, 18, FontStyle(1 + line % 3));
    }
}

void fx() {
    cls(float3(0.97, 0.93, 0.85));
    headline();
    styles();
    sizes();
    everything();
}
