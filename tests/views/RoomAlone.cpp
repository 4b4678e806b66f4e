// Has been linked: that is all.
int main() {}
