// A C++ program that does nothing and has nothing, not even the standard streams.
int main() {}
