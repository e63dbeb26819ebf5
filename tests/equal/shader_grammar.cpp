#include "tests/equal/grammar.h"

namespace kestrel::equal {

// "locals" is set while locals get their first values, "nolocals" where there are none; "calls" where calls
// stand inside of expressions, and no selectors and methods then; "switches" where they take the place of
// `continue`, which behind a switch may start over for ever; "own" where there is a local array; "changes"
// where elements change; "independent" where nothing goes from one sample to the next. Rows of 1 in 400 are
// what is wrong.
const std::string_view kShaderGrammar = R"grammar(
words results 1 1 1 2 3
words vectors 0 0 1 0 0 1 0
words extra 0
group procedure =

all script
    1000 : var table[16], whole[8], grid[2, 3], ways[4];
    1000 : var g0 = $literal;
    1000 : var g1 = $literal;
    1000 : var g2 = $literal;
    1000 : var gv0 = <$literal, $literal, $literal>;
    1000 : var gv1 = <$literal, $literal, $literal>;
    1000 : var seen = 0;
    1000 : $functions
    1000 +process : process: sa\n{\n$locals$ownarray$shading}
    600 +locals +nolocals : newtime: frame, time\n{\n$between}
    1000 +locals +nolocals : init\n{\n$fill$between}
group functionbody = $locals$statements4$returning
all locals
    997 +locals +nolocals : n0 = $value1;
    997 +locals : n1 = $value1;
    997 +locals : n2 = $value1;
    997 +locals : n3 = $value1;
    997 +locals : v0 = $vec2;
    997 +locals : v1 = $vec2;
all ownarray
    1000 changes : var own[3];\nown[1] = $value1;\nown[2] = $value1;\nown[3] = $value1;
group shading
    1 changes +own : $statements8$writes
    1 !changes : $statements8$writes
group writes = $($write$|$write$write$|$write$write$write$)
all fill
    1000 : for i = 1 to 16 do table[i] = randu();
    1000 : for i = 1 to 8 do whole[i] = i * 3;
    1000 : for i = 1 to 4 do ways[i] = <i, 0.5 * i, -1>;
    1000 : for i = 1 to 2 do for j = 1 to 3 do grid[i, j] = i + 0.5 * j;
# What changes between samples.
group between = $($change$|$change$change$|$change$change$change$)
statement change
    200 : $(g0$|g1$|g2$) = $literal;
    200 : table[$(1$|2$|5$|8$|11$|16$)] = $literal;
    200 : gv0 = <$literal, 1, 2>;
    198 : g1 = $literal;
    1 : g1 = $(<1, 2, 3>$|nil$);
    200 : whole[9] = 27;
    190 : table[3] = 7;
    7 : table[3] = <1, 2, 3>;
    200 !functions :
    200 singles : g2 = $single1;
    60 pairs : (g2, g1, g0) = $pair1;
    60 triples : (g2, g1, g0) = $triple1;

words small 0 1 2 3 0.5 0.25 -1 1.5 4 0.75
words large 0 1 2 3 -1 7 0.5 0.25 -2.5 1.0 0.0 -0.0 8 0.1 100 2147483647 2147483648.0 -2147483649.0
    9007199254740993.0 0.0000000000001 340282346638528859811704183484516925440.0
words divisor 3 4 8 -3
words plain + - *
words bits & | ^ << >>
words comparison < > <= >= == !=
words step ++ --
words ofone sin cos abs floor ceil frac atan rad deg tanh floor cot sec csc asin fac abs size gamma integer
words ofpositive sqrt log exp
words oftwo min max pow mod min max
words method asInt asNum size count isInt isNum isVec isNil trunc asInt
words draw randu() randu() randu() randu(7) randu(-2.5) random(0,32767) random(-5,9000) random(12000,2)
    random(2.5,2) random(3,40000) random(0,20000.5)
words read oPos[1] oPos[2] oPos[3] wPos[1] gNorm[2] sx sy cosine spotSize luminous diffuse color[1] wNorm[3]
    polNum wXfrm[4] rayLength
words written color[1] color[2] color[3] luminous diffuse specular mirror transparency wNorm[1] roughness
words vecsoftwo center extent cross3d translate3d scale3d max
words vecop | ^ % << >>
words part x y z

group literal
    90 : $small
    300 independent : $small
    10 : $large
group number
    22 loops : $around
    30 parameters : $parameter
    12 : g$(0$|1$|2$)
    5 : ::g$(0$|1$|2$)
    55 !locals : $local
    55 locals !nolocals : n0
    55 nolocals : g0
group parameter
    1 a : a
    1 b : b
    1 c : c
words local n0 n1 n2 n3
group vector
    40 p : p
    20 : $(gv0$|gv1$)
    45 : $vectorname
group vectorname
    1 !locals : $(v0$|v1$)
    1 locals : $(gv0$|gv1$)
# Written to: mostly locals.
group target
    8 !independent : seen
    5 !independent : $(g0$|g1$|g2$)
    18 parameters : $parameter
    70 : $local

group argument
    599 : $value=
    1 : $vec=
expression value
    270 leaf process : sa.$read
    115 leaf : $literal
    215 leaf : $number
    150 : $ofone((($value)))
    19 : $ofpositive(abs(1.5 - sin($value)))
    3 : $ofpositive((($value)))
    170 : $oftwo($value, $value)
    102 : (- $value)
    68 : (!$value)
    170 : $element=
    17 changes : ($element=$step)
    170 : $vector.$part
    170 !nested +nested : ($condition ? $value : $value)
    170 locals !independent : (seen$step)
    170 !locals : ($target$step)
    110 singles calls : $single=
    85 !independent : $draw
    85 : ($vec & $vec)
    170 : vmag($vec)
    170 : step($value, $value, $value)
    170 : $condition=
    160 !nested !calls +nested : (1 + $condition ? @0.5 + $value, 1.5 * $value@)
    7 !nested !calls +nested : ($condition ? @0.5 + $value, 1.5 * $value@)
    75 !calls : $local.$method()
    20 !calls : $vectorname.$method()
    100 : round($value, $(0$|1$|2$|3$))
    70 process : sa.$(oPos$|gNorm$|color$|wNorm$)[(floor($value) & $mask) + 1]
    8 : $mistake=
    1000 : $binary=
expression mistake
    98 : ($value $comparison nil)
    1 pairs calls : $pair=
    1 triples calls : $triple=
group mask
    399 : 1
    1 : 3
expression binary
    8650 : ($value $plain $value)
    3000 independent : ($value $plain $value)
    173 : ($value / $(3$|3$|3$|0.7$|0.7$))
    19 : ($value / $value)
    134 : (floor($value) % $divisor)
    57 : ($value % 0.7)
    1 : ($value % $value)
    673 : (floor($value) $bits $value)
    288 : ($value $bits $value)
expression condition
    15 : ($condition $(&&$|||$) $value)
    5 : ($vec1 $comparison $vec1)
    80 : ($value $comparison $value)
expression vec
    280 leaf : $vector
    65 : <$value, $value, $value>
    55 : ($vec $plain $vec)
    10 : ($vec / $vec)
    65 : ($value * $vec)
    65 : $(sin$|abs$)($vec)
    65 : ways[(floor($value) & 3) + 1]
    65 : $vecsoftwo($vec, $vec)
    65 : rotate3d($(1$|2$|3$), $value, $vec$(, gv0$|$))
    65 : ($vec $vecop $vec)
expression element
    40 own : own[$one=]
    20 : table[$fifteen=]
    20 : $whole=
    20 : grid[$one=, $one=]
expression one
    399 : (floor($value) & 1) + 1
    1 : $value
expression fifteen
    399 : (floor($value) & 15) + 1
    1 : $value
expression whole = whole[(floor($value) & 7) + 1]
expression wholevalue = floor(8 * $value)

statement returning
    1 calls : $returns
    1 !calls +nested : $returns
statement returns
    1 one : return ($argument2);
    1 two : return ($argument2, $argument2);
    1 three : return ($argument2, $argument2, $argument2);
group combined
    875 : $(+=$|-=$|*=$|+=$|&=$||=$|^=$) $value2
    119 : /= 3
    6 : /= $value2
statement write
    100 : sa.$(color$|wNorm$)[$index] $(=$|=$|+=$) $value2;
    180 : sa.$written $combined;
    70 : sa.$written$step;
    650 : sa.$written = $value2;
group index
    399 : (floor($value1) & 1) + 1
    1 : 1.5 * (floor($value1) & 1) + 1
# An element that is written; in the first form more often than can be taken back.
statement changed
    3 outermost : for k0 = 1 to 1100 do $element1 += k0;
    15 : ways[(floor($value1) & 3) + 1] $(=$|=$|=$|+=$|+=$) $vec2;
    12 process : $(own$|own$|own$|list$|whole$) = @0.5, $literal, 2.5 * $value0@;
    12 : $element2$step;
    24 : $element2 $(+=$|+=$|*=$|-=$) $value2;
    24 : $element2 = $value2;
    20 process : n6 = own[1]; own[$one2] = $value2; $target = $value1 + n6;
    4 : $whole2$step;
    8 : $whole2 $(+=$|+=$|*=$|-=$) $wholevalue2;
    8 : $whole2 = $wholevalue2;

statement statement
    18 changes : $changed
    19 changes shallow : $changed
    40 : $target = $value3;
    10 : $target $combined;
    10 : $target$step;
    7 : $(v0$|v1$) = $vec3;
    3 : v0.$part $(=$|=$|=$|+=$|+=$) $value2;
    10 : $several
    10 process : $write
    4 !independent : ($aim, $aim, $aim, $aim) = raytrace($vec2, $vec2);
    10 !process : $target = $value2;
    10 : $leaving
    10 : $rarely
    6 : -$target;
    4 : !$target;
    5 : $vectorname.$part$step;
    5 calls : $vectorname.$part$step;
    4 !calls : $target.trunc();
    1 !calls : $vectorname.trunc();
    2 !calls : { y = $value1; if ($condition2) y = nil; $target = y.$method(); }
    30 shallow : if ($condition2) $body
    30 shallow : if ($condition2) $body else $body
    10 shallow : if ($rare) { $strange}
    50 shallow : $loop
    20 shallow !switches : $leaving
# What is concluded behind a test that failed, also of a NaN, and values that change places.
    3 process : n1 = $value1; if (n1 < 0) n1 = 0; if (n1 > 1) n1 = 1; sa.luminous = n1;
    8 process : if (sa.diffuse > 1) sa.luminous = 2; else sa.luminous = (sa.diffuse < 1.5);
    3 shallow switches : select\nwhen (n0 > 1) then do\n$body end\notherwise do\nn1 = (n0 > 0.5);\nend\nend\n
    12 loops : n2 = n0; n0 = n1; n1 = n2;
    6 process : n3 = sa.sx; n3 /= 3; $target = n3;
# What a local still holds, and bounds of products.
    5 !independent : if ($condition1) n4 = $value1; if ($rare) info("kept ", n4);
    5 !independent : if ($condition1) n5 = $value1; else $target = $value1; if ($rare) info("kept ", n5);
    3 !independent : if ($condition1) n5 = $value1; n5 += 1; if ($rare) info("kept ", n5);
    8 : n1 = max(-2, min(1.5, $value1)); n2 = max(-1, min(3, $value1)); $target = abs(n1 * n2);
    10 shallow switches : $switch
    10 shallow switches : $select
statement rarely
    4 : $strange
    96 : $target = $value2;
expression rare
    1 independent : $value1 > 100
    8 !independent : frac(7.3 * $value1) > 0.95
    2 !independent : $value1 > $(1.5$|100$|0.9$|10$)
# What is not lowered. Not of texts in globals: as numbers they would count by their addresses.
statement strange
    3 : info("seen ", $value1);
    3 : table[$(1$|2$|5$|8$|11$|16$)] = $value1;
    3 !independent : x = "text"; x += $value1;
    2 !independent : $(g0$|g1$|g2$) = $literal;
    1 !independent : $(g0$|g1$|g2$) = $(nil$|$vector$);
    3 !independent : warn($value1); seen++;
    3 !independent : x = random(1, 6); n0 = x;
statement several
    20 !functions : $target = $value2;
    20 singles : $target = $single2;
    10 pairs : ($aim, $aim) = $pair2;
    1 pairs : ($aim, $aim, $aim) = $pair2;
    10 triples : ($aim, $aim, $aim) = $triple2;
    1 triples : ($aim, $aim, $aim, $aim) = $triple2;
group aim
    80 : $target
    20 process : sa.$written
statement leaving
    10 loops : if ($condition2) break;
    10 loops !switches : if ($condition2) continue;
    10 results : if ($condition2) $returning
    10 process : if ($condition2) return;
    10 : if ($condition2) $target = $value2;
    10 loops switches : if ($condition2) $target = $value2;
    20 !loops : if ($condition2) $target = $value2;
statement switch
    6 : switch ($switched) {\n$case$cases}
    1 : switch ($switched) {\ndefault: $body$case$cases}
    1 : switch ($switched) {\n$case default: $body$cases}
group switched
    3 : floor($number)
    2 : $value2
group cases = $($case$|$case$case$|$case$case$case$)
statement case = case $(0$|1$|2$|0.5$|-1$|g0$):\n$body$(break;\n$|break;\n$|$)
statement select
    3 : select\n$whens otherwise do\n$body end\nend\n
    2 : select\n$whens end\n
group whens = $($when$|$when$when$|$when$when$when$)
statement when
    19 : when $condition2 then do\n$body end\n
    1 : when $value1 then do\n$body end\n
# Counters are written by nothing else, so loops end.
statement loops
    10 : $counter = 0; while ($counter < $last) {\n$counter++;\n$body}
    10 : for ($counter = $last; $counter > 0; $counter--) $body
    8 : for $counter = 1 to $last do $body
    2 : for $counter = 1 to $last by 0.5 do $body
    10 : $counter = 0; while ($counter < $last) {\n$counter = $counter + $(1$|0.5$);\nif ($condition1) break;\n$body}
group last
    35 : $(1$|2$)
    35 inner : $(1$|2$)
    35 !inner : $(3$|4$)
    30 : $(9$|10$|11$|12$|13$|14$)
)grammar";

}  // namespace kestrel::equal
