// reading_program - a program that holds all code that only reads a machine. It is linked and never run: what it needs
// beside that code would be missing here, and test_reading_libraries.py looks at what it calls.

int main() {
  return 0;
}
