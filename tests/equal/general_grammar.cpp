#include "tests/equal/grammar.h"

namespace kestrel::equal {

// "shades" is set where there is a sample; "conditional" inside a ?, which must not hold another. Loops and
// calls of one call from the host spend ::fuel, all together; nothing else that is generated touches it.
const std::string_view kGeneralGrammar = R"grammar(
words results 0 1 1 2 2 3 3
words vectors 0
words extra 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 1
group nothing =
group procedure
    80 :
    20 : procedure $nothing

all script
    1000 strict : #pragma strict
    100 : #pragma unused
    200 : #pragma errors $(1$|2$|3$|4$|5$|6$|7$|8$|9$)
    100 : #pragma warnings $(0$|1$|2$)
    1000 : var fuel = 0;
    1000 strict : var first, second, third, fourth;
    1000 : declare record Pair { first = 1, second = "two"; third = <1.0,2.0,3.0>, fourth; }
    1000 : var gn0$numbervalue, gn1$numbervalue, gn2$numbervalue;
    1000 : var gt0$textvalue, gt1$textvalue;
    1000 : var gv0$vecvalue, gv1$vecvalue;
    1000 : var gx0$numbervalue;
    1000 : var gx1$textvalue;
    1000 : var ga1[3], ga2[2, 3], ga3[2, 2, 2], gr0;
    1000 : $functions
    1000 +shades : process: sa\n{\n::fuel = 0;\n$locals$statements7}
# A new time lets a script run again that has failed.
    1000 +parameters +a +b : newtime: a, b\n{\n::fuel = 0;\n$locals$statements3}
    400 : init\n{\n::fuel = 0;\n$locals$statements3}
    400 : cleanup\n{\n::fuel = 0;\n$locals$statements3}
    400 +results +two : flags\n{\n::fuel = 0;\n$locals$statements3$told}
group told
    60 : return $(COLOR$|"normal"$|99$|DIFFUSE$), $(COLOR$|"normal"$|99$|DIFFUSE$);\n
    40 :
group functionbody
    1 results : $spend$locals$statements3$returning
    1 !results : $spend$locals$statements3
group spend = ::fuel++; if (::fuel > 150) return 0;\n
# A declaration can go only with all that uses it, which under strict it is an error to do without.
all locals
    1000 : var n0$numbervalue, n1$numbervalue, n2$numbervalue;
    1000 : var t0$textvalue, t1$textvalue;
    1000 : var v0$vecvalue, v1$vecvalue;
    1000 : var x0$anyvalue;
    1000 : var x1$anyvalue;
# It hides the global.
    300 : var gn1$numbervalue;
    1000 strict : var l1[3], r0, k0, k1, k2, k3;
    930 !strict : var l1[3], r0, k0, k1, k2, k3;
    930 : r0 = Pair(2, "r");
    750 : l1[] = $numberliteral;
    180 : l1[] = $literal;
    700 : ga1[] = 1; ga2[] = 2.5; ga3[] = 0;
    700 : gr0 = Pair();
group numbervalue
    93 : = $numberliteral
    7 :
group textvalue
    93 : = $textliteral
    7 :
group vecvalue
    93 : = $vecliteral
    7 :
group anyvalue
    93 : = $literal
    7 :

words number 0 1 2 3 -1 7 0.5 0.25 -2.5 1.0 0.0 -0.0 3.75 0.0000000000001 0.000000000000000000001
    340282346638528859811704183484516925440.0 1000000000000000000000.5 100 255 -7 2147483647 2147483648.0
    -2147483649.0 4294967296.0 9007199254740993.0 0.1 1.000000001
# Both zeros, and numbers that nearly are the same.
words near -0.0 -0.0 0.0 0 0.00000000000001 1 1.0 1.00000000000001
words arithmetic + - * + - * << >> & | ^
words comparison < > <= >= == != <>
words logical && || and or
words compound += -= *= /= += -= &= |= ^=
words step ++ --
words ofone sqrt exp log sin cos tan asin acos atan abs ceil floor cosh sinh tanh rad deg frac fac cot sec csc
    gamma integer size sizeof
words oftwo mod pow hypot min max round
words vecsoftwo cross3d center extent translate3d scale3d
words question isNil isInt isStr isNum isVec isArray
words conversion asInt asNum size count
words readmember sx sy spotSize rayLength cosine polNum luminous diffuse specular mirror transparency eta roughness
words readarray oPos wPos gNorm oXfrm wXfrm wNorm color
words written luminous diffuse specular mirror transparency eta roughness color[1] wNorm[2] color[3]
# "second" is a text, which would count as a number by its address.
words field first first second fourth
words numberfield first first third
words part x y z

expression numberliteral = $number
expression textliteral = $(""$|"a"$|"Word"$|"word"$|"12.5x"$|"b c,d"$|"1 2 3"$)
expression vecliteral = $(<1, 2, 3>$|<0, 0, 0>$|<0.5, -1, 2.5>$|<-0.0, 4294967296.5, 7>$)
expression literal
    20 : nil
    27 : $numberliteral
    27 : $textliteral
    26 : $vecliteral
# Global, of another function's names, or shadowed by a local.
words prefixes g ::g
group prefix
    70 :
    30 : $prefixes
group numbername = $prefix$(n0$|n1$|n2$)
group textname = $prefix$(t0$|t1$)
group vecname = $prefix$(v0$|v1$)
group anyname
    40 parameters : $parameter
    60 : $prefix$(x0$|x1$)
group parameter
    1 a : a
    1 b : b
    1 c : c
# What stands before a dot, where the language does not take "::".
group numberowner = $(g$|$|$)$(n0$|n1$|n2$)
group vecowner = $(g$|$|$)$(v0$|v1$)
group anyowner
    40 parameters : $parameter
    60 : $(g$|$|$)$(x0$|x1$)
# It leaves an array small that is assigned to.
group index
    60 loops : $around
    3 : $(0$|-1$)
    4 : 9
    93 : $(1$|2$)
group sample
    60 : sa.$readmember
    40 : sa.$readarray[$(1$|2$|3$)]

expression value
    150 leaf loops : $around
    190 leaf shades : $sample
    200 leaf : $numberliteral
    370 leaf : $numbername
    10 : $any=
    180 : (-$value)
    180 : (!$value)
    360 : $builtin=
    360 : $member
    360 : $element=
    360 !conditional +conditional : ($condition ? $value : $value)
    180 : ($numbername$step)
    180 : ($step$numbername)
    360 functions : $call=
    1800 : $binary=
# A line may end inside an expression, and messages name the line of the instruction. Here is, too, what meets by
# itself too rarely: a NaN, as acos(2) is, what nearly is the same, and an operator without a left side.
expression binary
    570 : ($near $operator $near)
    4 : ($near / $near)
    8530 : ($left $operator$( $| $| $| $|\n$)$operand)
    100 : (acos(2) $comparison $operand)
    100 : (0.0 < 0.00000000000000000000000000000000001)
    60 empties : ($empty $arithmetic $operand)
    200 functions : ($left $arithmetic $call)
    740 : ($left $(/$|%$)$( $| $| $| $|\n$)$(3$|0.7$))
    130 : ($left $(/$|%$)$( $| $| $| $|\n$)$operand)
group operator
    55 : $arithmetic
    32 : $comparison
    11 : $logical
expression left
    98 : $value=
    2 : $any=
# Mostly what can be loaded together with the operator.
expression operand
    350 : $numberliteral
    343 : $numbername
    14 : $anyname
    293 : $value=
expression condition
    15 : $any=
    85 : ($value $comparison $operand)
expression builtin
    20 : $ofone($value)
    10 : $oftwo($value, $value)
    3 : vmag($vec)
    4 : dot3d($vec, $vec)
    3 : angle($vec, $vec, 3)
    10 : step($value, $value, $value)
    10 : $(randu()$|random(1, 6)$)
    10 : $(number$|integer$)($text)
expression member
    900 shades : $sample
    100 : $vecowner.$part
    100 : $(r0$|gr0$)->$numberfield
    28 : $numberowner.$question()
    42 : $numberowner.$conversion()
    12 : $anyowner.$question()
    18 : $anyowner.$conversion()
expression element = $(ga1[$at=]$|ga2[$at=, $at=]$|ga3[$at=, $at=, $at=]$|l1[$at=]$)
# What is read may be out of bounds, now and then, and then ends the run.
expression at
    97 : $(1$|2$)
    3 : $value
expression argument = $($value=$|$any=$)
expression text
    20 leaf : $textliteral
    20 leaf : $textname
    10 : strright(string($any, $value), 30)
    10 : strsub($text, 1, $value0)
    10 : $(strupper$|strlower$)($text)
    10 : ($text $(-$|/$) $textliteral)
    10 : ($textliteral * $(0$|1$|2$|3$))
    10 : $anyowner.asStr()
    10 : strright($text + $any, 20)
    1 : $any=
expression vec
    14 leaf : $vecliteral
    26 leaf : $vecname
    24 : <$value, $value, $value>
    24 : $vecsoftwo($vec, $vec)
    24 : ($vec $(+$|-$|*$|/$|^$||$) $vec)
    24 : ($operand * $vec)
    24 : ($vec $(*$|+$) $operand)
    2 : $any=
expression any
    2 : nil
    2 : Pair($value)
    2 : $(r0$|gr0$)
    2 : $(ga1$|l1$)
    2 !conditional +conditional : (integer($value0) ? $value1, $text0, $vec0)
    2 shades : sa.objID
    2 !shades : getfirstitem(MESH)
    6 : $anyname
    7 : $value=
    8 : $text=
    7 : $vec=
# Elements and fields hold numbers, mostly: others make an error of what reads them.
group numbertarget
    55 : $numbername
    45 : $place
group texttarget
    88 : $textname
    12 : $place
group vectarget
    88 : $vecname
    12 : $place
group anytarget
    88 : $anyname
    12 : $place
group place
    20 : ga1[$index]
    20 : ga2[$index, $index]
    20 : l1[$index]
    20 : $(r0$|gr0$)->$field
    20 : $vecowner.$part
    20 !shades : ga3[$index, $index, $index]
    19 shades : sa.$written
    1 shades : $sample

statement statement
    8 : $assignment
    2 : $numbertarget $compound $value2;
    1 : $counted$step;
    1 : $step$counted;
    1 : $small
    2 : $(info$|info$|warn$|error$)($any2, " ", $value1);
    2 : $several
    1 : $leaving
    1 : $outside
    1 : $array
    4 shallow : $choice
    2 shallow : $arms
    8 shallow : $loop
statement assignment
    144 : $numbertarget $assign $value3;
    24 : $texttarget $assign $text3;
    24 : $vectarget $assign $vec3;
    48 : $anytarget $assign $any3;
    6 : $numbertarget = $numbername = $value2;
    1 : $texttarget = $textname = $text2;
    1 : $vectarget = $vecname = $vec2;
    2 : $anytarget = $anyname = $any2;
group assign
    9 : =
    1 : :=
group counted
    60 : $numbername
    10 : $anyname
    24 : $numbertarget
    6 : $vectarget
statement small
    2 : goto;
    1 : -$numbername;
    1 : !$numbername;
    2 : $value2;
    2 : var $(w0$|w1$|w2$) = $value2;
    2 : $textname += $literal;
    2 : do { $assignment} while ($value1);
# Several values at once: lists, and what functions return.
statement several
    50 : $(ga1$|l1$) = $values;
    50 : ($numbertarget) = $values;
    50 : ($numbertarget, $further) = $values;
    50 : ($numbertarget, $further, $further) = $values;
expression values
    40 : @$any2, $value1, $value1@
    60 functions : $call2
    15 : parse(" ,", $text1)
    12 shades : sa.raytrace($vec1, v0)
group further
    70 : $numbertarget
    30 : $anytarget
statement returning
    30 one : return n0;
    70 one : return ($result);
    70 two : return ($result, $result);
    70 three : return ($result, $result, $result);
expression result
    80 : $value2
    20 : $any2
    5 empties : ($empty2 $arithmetic $operand2)
# Behind the opening of a switch `continue` starts over, so it spends.
statement leaving
    20 : if ($condition2) return;
    20 : ::fuel++; if (::fuel < 150) if ($condition2) continue;
    20 results : if ($condition2) $returning
    40 loops : if ($condition2) break;
    38 !loops : $assignment
    2 !loops : if ($condition2) break;
# What reaches out of the script: files, the store, the scene.
statement outside
    10 : x0 = File("out.txt", "a"); if (x0 != nil) { x0.writeln($any2, ", ", $value1); x0.close(); }
    10 : store("key$(0$|1$)", $any2);
    10 : x1 = recall("key0", $value1);
    3 : dump("dump.txt");
    10 : x0 = getfirstitem(MESH); if (x0 != nil) info(x0.name, x0.getPosition($value1));
    10 : randu($value1);
statement array
    12 : n0 = $(ga1$|l1$|ga2$).$(sortA$|sortD$|pack$|trunc$|count$)();
    12 : $(ga1$|l1$|ga2$)[$(-1$|$)] = $any2;
    12 : l1 = array($(1$|2$|3$|4$));
    8 : $(ga1$|l1$)[1] $compound $any2;
    4 : ga2[1] = $any2;
statement choice
    20 : if +$condition2 then $body else $body
    40 : if ($condition2) $body
    40 : if ($condition2) $body else $body
statement arms
    4 : switch ($value2) {\n$cases}
    6 : switch ($value2) {\n$cases default: $body}
    4 : select\n$whens end\n
    6 : select\n$whens otherwise do $body end\nend\n
group cases = $($case$|$case$case$|$case$case$case$)
statement case
    7 : case $(0$|1$|2$|0.5$|gn0$):\n$body break;\n
    3 : case $(0$|1$|2$|0.5$|gn0$):\n$body
group whens = $($when$|$when$when$)
statement when = when $condition2 then do $body end\n
statement loops
    5 : $counter = 0; while ($counter < $last) {\n$spend$counter++;\n$body}
    5 : $counter = 0; while ($counter < $last) {\n$spend$counter += 1;\n$body}
    10 : $counter = $last; while +$condition2 do $loopbody
    5 : for ($counter = $last; $counter > 0; $counter--) $loopbody
    5 : for ($counter = $last; $counter > 0; --$counter) $loopbody
    10 : for $counter = $(1$|1$|0.5$) to $last$( by 2$| by 0.5$| by gn0$|$) do $loopbody
    10 : do $counter = $value1 to $last $loopbody
    10 : for ($counter = 0; $counter <= $last; $counter++) $loopbody
words last 1 2 3 4 5
group loopbody = {\n$spend$body}\n
)grammar";

}  // namespace kestrel::equal
