#!/usr/bin/perl
# usage: operations_covered.pl [--list] INTERFACE_FOLDER TESTS_FOLDER
#        operations_covered.pl --self-test TESTS_FOLDER
# Reads every public operation out of the interface headers and fails when one is used by no test of the suite: by none
# of the *.cpp directly in TESTS_FOLDER that include its header. --list prints the operations and who uses them.
use strict;
use warnings;
use File::Find;
use File::Temp;

sub ReadText {
    my ($path) = @_;
    open(my $file, '<', $path) or die "$path: $!\n";
    local $/;
    my $text = <$file>;
    $text =~ s{//[^\n]*|/\*.*?\*/}{}gs;
    $text =~ s{"(?:\\.|[^"\\\n])*"}{""}g;
    return $text;
}

# The operations that a header declares, as "Class::Name" or "Name". Bodies of functions, private parts, constructors,
# operators, aliases and what is deleted are passed over.
sub Operations {
    my ($path) = @_;
    my $text = ReadText($path);
    $text =~ s/^\s*#.*$//mg;
    my @found;
    my @scopes;           # each: class name or "", whether its present part is private
    my $statement = '';
    my $hidden = 0;       # depth of braces inside a function's body
    my $take = sub {
        my $name_of = @scopes ? $scopes[-1][0] : '';
        my $private = grep { $_->[1] } @scopes;
        my $declared = $statement;
        $statement = '';
        return if $private || $declared =~ /\b(using|typedef|friend|operator|delete)\b/;
        $declared =~ s/^\s*template\s*<[^>]*>//;
        return unless $declared =~ /(~?\w+)\s*\(/;
        my $name = $1;
        return if $name =~ /^~/ || $name eq $name_of || $declared =~ /^\s*enum\b/;
        push @found, $name_of eq '' ? $name : "${name_of}::$name";
    };
    for my $token ($text =~ /\b(?:public|protected|private)\s*:(?!:)|\w+|\s+|::|./g) {
        if ($hidden) {
            $hidden++ if $token eq '{';
            $hidden-- if $token eq '}';
        } elsif ($token eq '{') {
            (my $head = $statement) =~ s/^\s*template\s*<[^>]*>//;
            if ($head =~ /^\s*(class|struct)\s+(\w+)[^()]*$/) {
                push @scopes, [$2, $1 eq 'class' ? 1 : 0];
                $statement = '';
            } elsif ($statement =~ /\b(namespace|enum|extern)\b/) {
                push @scopes, ['', 0];
                $statement = '';
            } else {
                $take->();
                $hidden = 1;
            }
        } elsif ($token eq '}') {
            pop @scopes;
            $statement = '';
        } elsif ($token eq ';') {
            $take->();
        } elsif ($token =~ /^(public|protected|private)\s*:$/) {
            $scopes[-1][1] = $1 eq 'private' ? 1 : 0;
        } else {
            $statement .= $token;
        }
    }
    return @found;
}

sub Headers {
    my ($folder) = @_;
    my @headers;
    find({wanted => sub { push @headers, $_ if /\.h$/ }, no_chdir => 1}, $folder);
    return sort @headers;
}

# @return for each operation of the headers the sources that use it
sub Coverage {
    my ($interface, $tests) = @_;
    my (%text_of, %includes);
    for my $source (glob("$tests/*.cpp")) {
        $text_of{$source} = ReadText($source);
        open(my $file, '<', $source) or die "$source: $!\n";
        /^#include "(.*)"/ and $includes{$source}{$1} = 1 while <$file>;
    }
    my %coverage;
    for my $header (Headers($interface)) {
        my $name_of_header = substr($header, length("$interface/"));
        my @includers = grep { $includes{$_}{$name_of_header} } sort keys %text_of;
        for my $operation (Operations($header)) {
            my ($name) = $operation =~ /(\w+)$/;
            my @users = grep { $text_of{$_} =~ /\b\Q$name\E\s*\(/ } @includers;
            $coverage{$operation} = \@users;
        }
    }
    return \%coverage;
}

sub Uncovered {
    my ($coverage) = @_;
    return grep { !@{$coverage->{$_}} } sort keys %$coverage;
}

# The check must find the operations of a header that no test can know, and no more than those.
sub SelfTest {
    my ($tests) = @_;
    my $folder = File::Temp->newdir();
    open(my $file, '>', "$folder/Probe.h") or die "$folder/Probe.h: $!\n";
    print $file <<'HEADER';
#pragma once
#define MACRO_OF_NOBODY(x) x
namespace probe {
/// CommentOfNobody(1) is no operation
bool FreeOperationOfNobody(int first, const char* text = "TextOfNobody(1)");
using AliasOfNobody = void (*)(int value);
class ProbeOfNobody {
public:
    ProbeOfNobody() : n_value_(HelperOfNobody(1)) {}
    virtual ~ProbeOfNobody() {}
    ProbeOfNobody(const ProbeOfNobody&) = delete;
    virtual void VirtualOfNobody() const = 0;
    int InlineOfNobody() const { return BodyOfNobody(n_value_); }
protected:
    void ProtectedOfNobody();
private:
    void PrivateOfNobody();
    int n_value_;
};
struct RecordOfNobody { int n_value = 0; };
}  // namespace probe
HEADER
    close($file);
    my @expected = ('FreeOperationOfNobody', map { "ProbeOfNobody::$_" } qw(InlineOfNobody ProtectedOfNobody VirtualOfNobody));
    my @found = Uncovered(Coverage($folder, $tests));
    if ("@found" ne "@expected") {
        print "self-test: expected @expected, found @found\n";
        return 1;
    }
    print "self-test: an operation that no test uses is found\n";
    return 0;
}

if (@ARGV == 2 && $ARGV[0] eq '--self-test') {
    exit SelfTest($ARGV[1]);
}
my $list = @ARGV && $ARGV[0] eq '--list' ? shift @ARGV : '';
s{/+$}{} for @ARGV;
die "usage: operations_covered.pl [--list] INTERFACE_FOLDER TESTS_FOLDER\n" unless @ARGV == 2;
my $coverage = Coverage(@ARGV);
die "$ARGV[0]: no operations found\n" unless %$coverage;
if ($list) {
    for my $operation (sort keys %$coverage) {
        printf "%-60s %s\n", $operation, join(' ', map { s{.*/}{}r } @{$coverage->{$operation}});
    }
}
my @uncovered = Uncovered($coverage);
print "$_: used by no test of $ARGV[1]\n" for @uncovered;
printf "%d operations, %d of them in no test\n", scalar(keys %$coverage), scalar(@uncovered);
exit(@uncovered ? 1 : 0);
