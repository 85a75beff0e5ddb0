// A C++ program that does nothing, linked as qvpost is: the standard streams are there, as in any program that logs.
#include <iostream>

int main() {}
