// A program that only carries a version resource for the version-description tests.
int main()
{
    return 0;
}
