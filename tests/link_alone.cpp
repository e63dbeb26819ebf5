// Linked with all objects of one library and the libraries below it: what one of them needs from above is
// missing here.
int main() {
    return 0;
}
