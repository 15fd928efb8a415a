#!/usr/bin/perl
# usage: doc_examples.pl DOCUMENT SOURCE
#        doc_examples.pl --self-test
# The examples of a document are parts of a source that is compiled: fails when a block that begins with "```cpp quoted"
# does not stand in SOURCE, line by line, or when the document has no such block. Indentation does not count.
use strict;
use warnings;

sub Lines {
    my ($text) = @_;
    return map { s/^\s+|\s+$//gr } split(/\n/, $text);
}

# @return what is wrong, one line each
sub Check {
    my ($document, $source) = @_;
    my @source = Lines($source);
    my (@wrong, $blocks);
    while ($document =~ /^```cpp quoted\n(.*?)^```$/msg) {
        my @block = Lines($1);
        $blocks++;
        my $found = grep {
            my $at = $_;
            !grep { ($source[$at + $_] // "\0") ne $block[$_] } 0 .. $#block;
        } 0 .. $#source;
        push @wrong, "not in the source: $block[0] …" unless $found;
    }
    push @wrong, 'the document quotes nothing' unless $blocks;
    return @wrong;
}

sub Read {
    my ($path) = @_;
    open(my $file, '<', $path) or die "$path: $!\n";
    local $/;
    return <$file>;
}

if (@ARGV == 1 && $ARGV[0] eq '--self-test') {
    my $source = "void F() {\n    int a = 1;\n    Use(a);\n}\n";
    die "a quotation that stands is refused\n" if Check("```cpp quoted\nint a = 1;\nUse(a);\n```\n", $source);
    die "a quotation that has drifted is passed\n" unless Check("```cpp quoted\nint a = 1;\nUse(b);\n```\n", $source);
    die "a document without quotations is passed\n" unless Check("no block\n", $source);
    exit 0;
}
die "usage: doc_examples.pl DOCUMENT SOURCE\n" unless @ARGV == 2;
my @wrong = Check(Read($ARGV[0]), Read($ARGV[1]));
print "$ARGV[0]: $_\n" for @wrong;
exit(@wrong ? 1 : 0);
