/* What every program with the libraries of the service pays before main(). */

int main() {}
