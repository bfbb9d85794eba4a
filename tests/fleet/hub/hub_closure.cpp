// Links only when no function of the hub needs a room that the hub does not declare.
int main() { return 0; }
